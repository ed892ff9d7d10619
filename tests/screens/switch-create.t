A switch that is simulated: `switchsim create`, `show` and `set`.

  $ . "$TESTDIR/lab.sh"

Until it is made there is none.

  $ export SWITCHSIM_STATE="$PWD/switch.state"
  $ switchsim show
  switchsim: no simulated switch at */switch-create.t/switch.state; `switchsim create` makes one (glob)
  [1]
  $ switchsim create --ports 6 --poe 4
  $ switchsim show
  Unit 1
    Port      ifNum  Mode  State          Power    Device
    1/0/1         1  on    delivering     6.4 W     6.4 W
    1/0/2         2  on    searching          -         -
    1/0/3         3  on    delivering    12.9 W    12.9 W
    1/0/4         4  on    delivering     3.2 W     3.2 W
    1/0/5         5  -     no PoE             -         -
    1/0/6         6  -     no PoE             -         -
  $ switchsim create
  switchsim: there is a switch at */switch-create.t/switch.state already; --force resets it (glob)
  [1]
  $ switchsim create --force --ports 3 --poe 2 --names sp
  $ switchsim clock "2026-03-03 08:00:00"
  $ switchsim show --json | json
  {"units":[
  {"unit":1,"powerMw":6400,"reservedMw":6400,"budgetMw":null,"ports":[
  {"name":"0/1","ifNum":1,"poe":true,"adminMode":1,"state":"delivering","detectionStatus":2,"powerMw":6400,"currentMa":119,"voltageMv":53936,"temperature":40,"class":2,"device":"steady","deviceWatts":6.4,"starting":false,"held":false,"priority":1,"limitMw":30000}, {"name":"0/2","ifNum":2,"poe":true,"adminMode":1,"state":"searching","detectionStatus":1,"powerMw":0,"currentMa":0,"voltageMv":0,"temperature":38,"class":0,"device":"none","deviceWatts":0,"starting":false,"held":false,"priority":1,"limitMw":30000}, {"name":"0/3","ifNum":3,"poe":false,"adminMode":0,"state":"no PoE","detectionStatus":0,"powerMw":0,"currentMa":0,"voltageMv":0,"temperature":0,"class":0,"device":"none","deviceWatts":0,"starting":false,"held":false,"priority":1,"limitMw":30000}]}],"server":"up","clock":{"mode":"frozen","time":"2026-03-03 08:00:00"},"faults":0,"faultList":[],"misuse":0,"lastMisuse":"","lastClient":""}

A stack. Numbers of ports go on from unit to unit.

  $ switchsim create --force --units 2 --ports 4 --poe 3 --budget 20
  $ switchsim show | sed -n '1,3p;8,10p'
  Unit 1 delivers 19.3 W, 19.3 W of 20.0 W are reserved
    Port      ifNum  Mode  State          Power    Device
    1/0/1         1  on    delivering     6.4 W     6.4 W
  Unit 2 delivers 8.7 W, 8.7 W of 20.0 W are reserved
    Port      ifNum  Mode  State          Power    Device
    2/0/1         5  on    searching          -         -

A budget that is too small: the ports whose priority is lowest are denied. What is switched off
leaves its power to others.

  $ switchsim device 1/0/2 15
  $ switchsim priority 1/0/2 critical
  $ switchsim show | sed -n '3,5p'
    1/0/1         1  on    denied             -     6.4 W
    1/0/2         2  on    searching          -    15.0 W
    1/0/3         3  on    denied             -    12.9 W
  $ switchsim set 1/0/2 off
  $ switchsim show | sed -n '3,5p'
    1/0/1         1  on    searching          -     6.4 W
    1/0/2         2  off   disabled           -    15.0 W
    1/0/3         3  on    searching          -    12.9 W

The front panel, as it is drawn.

  $ switchsim show --panel | sed -n '1,8p;$p'
  Unit 1 delivers 0.0 W, 19.3 W of 20.0 W are reserved
     1     3
  +-----+-----+
  |-    |-    |
  +-----+-----+
  |.    |     |
  +-----+-----+
     2     4
  # delivers   ~ device starts   - searches   . off   x denied   ! fault

A switch like another one: from what the client prints of its ports.

  $ cat >ports.json <<'END'
  > {"ports":[
  >  {"unit":1,"ifNum":1,"name":"1/0/1","adminMode":"enable","detectionStatus":"delivering",
  >   "powerMw":7300},
  >  {"unit":1,"ifNum":2,"name":"1/0/2","adminMode":"disable","detectionStatus":"disabled",
  >   "powerMw":0}]}
  > END
  $ switchsim create --force --from ports.json
  $ switchsim show
  Unit 1
    Port      ifNum  Mode  State          Power    Device
    1/0/1         1  on    delivering     7.3 W     7.3 W
    1/0/2         2  off   disabled           -     2.0 W

What is no switch.

  $ switchsim create --force --units 9
  switchsim: a switch has 1 to 8 units
  [2]
  $ switchsim create --force --units 2 --names sp
  switchsim: names such as 0/5 tell the ports of a single unit apart; more units need names such as 1/0/5
  [2]
  $ echo '{}' | switchsim create --force --from -
  switchsim: stdin: there is no array "ports", as `quorin_poectl ports --json` prints it
  [2]
  $ for n in 0 2.5 '"2"' 4294967296; do
  >   echo "{\"ports\":[{\"unit\":1,\"ifNum\":$n}]}" | switchsim create --force --from -; done
  switchsim: stdin: ports[0]: ifNum is no whole number from 1 to 4294967295
  switchsim: stdin: ports[0]: ifNum is no whole number from 1 to 4294967295
  switchsim: stdin: ports[0]: ifNum is no whole number from 1 to 4294967295
  switchsim: stdin: ports[0]: ifNum is no whole number from 1 to 4294967295
  [2]
  $ echo '{"ports":[{"unit":1,"ifNum":1,"name":"\u001b[31m"}]}' | switchsim create --force --from -
  switchsim: stdin: ports[0]: "\x1b[31m" is no name of a port, such as 1/0/5 or 0/5
  [2]
  $ switchsim set 1/0/9 on
  switchsim: no port is called "1/0/9": a port is an ifNum such as 5 or a name such as 1/0/5
  [1]
  $ switchsim set 1/0/1 dim
  switchsim: MODE: dim not in {on,off}
  See: switchsim set --help
  [2]
