Ports that are restarted by hand, and watched until their devices are back: `quorin_poectl reset`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ switchsim lab speed 1 >out

The steps on the way are shown as they are seen, the last line of a port says how it ended. (Here
the lines of ports that are still on their way are left out: how many there are is chance, as is
the order.)

  $ quorin_poectl reset 1/0/1,1/0/2 --off-time 1s >out
  all dark at once for 1 s, then on again, one right after the other
  run 1: 2 ports of unit 1
  $ grep -v '\.\.\.$' out | sort
  1/0/1  6.4 W > * > 6.4 W  back after * s (glob)
  1/0/2  searching*  on as before (searching) (glob)

Ports of several units are a run each, and are asked about. `--stagger` restarts one after the other.

  $ quorin_poectl reset 1/0/3 2/0/1 --stagger 1s </dev/null
  quorin_poectl: Reset 2 ports of units 1 and 2?
  Nothing was changed. To do it all the same: -y
  [2]
  $ quorin_poectl reset 1/0/3 2/0/1 --stagger 1s -y >out
  run 2: 1 port of unit 1
  run 3: 1 port of unit 2
  $ grep -v '\.\.\.$' out | sort
  1/0/3  12\.9 W > .*12\.9 W  back (within a second|after \d+ s) (re)
  2/0/1  12\.9 W > .*12\.9 W  back (within a second|after \d+ s) (re)

The same for programs: a line a change, and at the end one with the results.

  $ quorin_poectl reset 1/0/4 --off-time 2s --json >out
  {"note":{"text":"run 4: 1 port of unit 1"}}
  $ grep '"stage":"dark"' out
  {"event":"change","time":"2026-03-03T08:0?:??+01:00","unit":1,"ifNum":4,"name":"1/0/4","label":null,"runId":4,"stage":"dark","adminMode":"disable","detectionStatus":"disabled","powerMw":0,"powerLimitMw":30000,"outcome":"pending","errorMessage":null,"back":null,"backAfterMs":null,"verdict":null} (glob)
  $ tail -n 1 out | json
  {"event":"result","time":"2026-03-03T08:0?:??+01:00","runs":[ (glob)
  {"runId":4,"unit":1,"status":"success"}],"ports":[
  {"unit":1,"ifNum":4,"name":"1/0/4","label":null,"runId":4,"stage":"delivering","adminMode":"enable","detectionStatus":"delivering","powerMw":3200,"powerLimitMw":30000,"outcome":"success","errorMessage":null,"back":true,"backAfterMs":*,"verdict":"back after * s"}]} (glob)

Who does not want to wait gets the number of the run.

  $ quorin_poectl reset 2/0/8 --off-time 300s --no-wait --json | json
  {"note":{"text":"run 5: 1 port of unit 2"}}
  {"event":"result","time":"2026-03-03T08:0?:??+01:00","runs":[ (glob)
  {"runId":5,"unit":2,"status":"running"}],"ports":[
  {"unit":2,"ifNum":36,"name":"2/0/8","label":null,"runId":5,"stage":"delivering","adminMode":"enable","detectionStatus":"delivering","powerMw":15300,"powerLimitMw":30000,"outcome":null,"errorMessage":null,"back":null,"backAfterMs":null,"verdict":null}]}

A port that a run works at just now is not taken by another one, and the exit status says so.

  $ quorin_poectl reset 1/0/7 --off-time 300s --no-wait
  run 6: 1 port of unit 1
  $ until_so 'quorin_poectl ports 1/0/7 | grep " off "'
  $ quorin_poectl reset 1/0/7 --off-time 1s >out
  run 7: 1 port of unit 1
  run 7 of unit 1: (failed|running)  See: quorin_poectl history 7 (re)
  [1]
  $ grep -v '\.\.\.$' out
  1/0/7  dark  not reset: port busy (another run in progress)

An order that the switch refuses.

  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/10 --result -1
  $ quorin_poectl reset 1/0/10 --off-time 1s >out
  run 8: 1 port of unit 1
  run 8 of unit 1: (failed|running)  See: quorin_poectl history 8 (re)
  [1]
  $ grep -v '\.\.\.$' out
  1/0/10  15.3 W  failed: power_off failed
  $ switchsim fault clear

The switch's own reset, which is taken where no off time is given, leaves a port off that is off: it
is refused. `on` switches on what is off, and nothing else.

  $ switchsim set 1/0/16 off
  $ quorin_poectl reset 1/0/16-17
  quorin_poectl: 1/0/16 is off, and a reset without --off-time leaves it so. To switch on what is off: quorin_poectl on 1/0/16
  [2]
  $ quorin_poectl on 1/0/16-17 >out
  1/0/17 is on: left alone
  switched on by a restart of 1 s, the only way that there is
  run 9: 1 port of unit 1
  $ grep -v '\.\.\.$' out
  1/0/16  dark > *12.9 W  on after * s (glob)
  $ quorin_poectl on 1/0/16-17
  1/0/16-17 are on: left alone

Port after port, and no further than the first that does not come back.

  $ switchsim device 1/0/19 38
  $ until_so 'quorin_poectl ports 1/0/19 | grep denied'
  $ quorin_poectl reset 1/0/18-20 --one-by-one --wait-power 5s >out
  run 10: 1 port of unit 1
  run 11: 1 port of unit 1
  stopped there: not reset: 1/0/20
  [1]
  $ grep -v '\.\.\.$' out | cut -d' ' -f1
  1/0/18
  1/0/19
  $ tail -n 1 out | grep -o 'on, but.*\|not back.*'
  on, but without power (denied: limit 30.0 W)
  $ quorin_poectl reset 1/0/18 --one-by-one --stagger 1s
  quorin_poectl: --stagger excludes --one-by-one
  See: quorin_poectl reset --help
  [2]

A whole unit is asked for twice, for everything on it goes dark.

  $ quorin_poectl reset --all
  quorin_poectl: --all resets a whole unit: say which with --unit N
  [2]
  $ quorin_poectl reset --all --unit 1 </dev/null
  quorin_poectl: Reset all 23 enabled ports of unit 1?
  Nothing was changed. To do it all the same: -y
  [2]

What cannot be meant.

  $ quorin_poectl reset 1/0/28
  quorin_poectl: no PoE port "1/0/28": unit 1 has 1/0/1 to 1/0/24.  See: quorin_poectl ports
  [10]
  $ quorin_poectl reset 1/0/1 --unit 1 --all
  quorin_poectl: name ports, or take a whole unit with --all, not both
  [2]
  $ quorin_poectl reset 1/0/1 --off-time 500ms
  quorin_poectl: --off-time: "500ms" is no duration in s, m, h or d, such as 10s or 1m30s
  See: quorin_poectl reset --help
  [2]

In a lab that stands nothing comes back.

  $ switchsim lab speed 0 >out
  $ quorin_poectl reset 2/0/24 --off-time 1s >out
  run 12: 1 port of unit 2
  quorin_poectl: the lab stands, and the ports with it: switchsim lab at TIME, or switchsim lab speed 1
  run 12 goes on in the daemon. See: quorin_poectl history 12
  [6]
