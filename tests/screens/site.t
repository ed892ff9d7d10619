A site as a file: `quorin_poectl export` and `import`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl --quiet schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1-2 --at 03:30 --off-time 1m >out
  $ quorin_poectl bootdelay 1 --delay 30s --stagger 5s >out

The file names ports as people do, so that it can be read and changed by hand.

  $ quorin_poectl export site.json
  2 schedules and 2 boot delays written to site.json
  $ tr -d '\t' <site.json | sed '15,25d;30,$d'
  {
  "version":2,
  "schedules":[{
  "unit":1,
  "name":"night",
  "scheduleType":"power_off",
  "recurrence":"daily",
  "ports":"1/0/5-8",
  "startTime":"22:00",
  "endTime":"06:00",
  "allDay":false,
  "executionMode":"simultaneous",
  "interPortDelaySec":0,
  "enabled":true
  }],
  "bootDelays":[{
  "unit":1,
  "delaySec":30,
  $ quorin_poectl export | cmp - site.json

What is in it already is kept. Nothing happens in a dry run.

  $ quorin_poectl import site.json
  0 added, 0 changed, 0 removed, 4 the same
  $ cat >other.json <<END
  > {"format": 1, "schedules": [
  >   {"unit": 1, "name": "night", "scheduleType": "power_off", "recurrence": "daily",
  >    "ifNums": [5, 6, 7, 8], "startTime": "21:30", "endTime": "06:00"},
  >   {"unit": 1, "name": "shop", "scheduleType": "power_on", "recurrence": "weekly",
  >    "recurrenceDays": [6], "ifNums": [13], "startTime": "18:00", "endTime": "21:30"}]}
  > END
  $ quorin_poectl import other.json --dry-run
    ~  unit 1  "night"    off 22:00-06:00 > off 21:30-06:00
    +  unit 1  "shop"     on 18:00-21:30 sat                 1/0/13
    -  unit 2  "cameras"  (with --replace)
  1 to add, 1 to change, 0 to remove, 0 the same, 1 not in the file; nothing was changed (--dry-run)
  $ quorin_poectl schedule list | tail -n 1
  2 schedules, times in the switch's zone (CET)

Then it is done: what differs is changed, what is new is added, and with `--replace` what the file
does not have goes.

  $ quorin_poectl import other.json | tail -n 1
  1 added, 1 changed, 0 removed, 0 the same, 1 not in the file
  $ quorin_poectl import other.json --replace --json | json
  {"dryRun":false,"added":[],"changed":[],"removed":[
  {"unit":2,"name":"cameras","kind":"schedule"},
  {"unit":1,"name":null,"kind":"bootDelay"}],"kept":[
  {"unit":1,"name":"night","kind":"schedule"},
  {"unit":1,"name":"shop","kind":"schedule"}],"failed":null}
  $ quorin_poectl schedule list
  UNIT  ID  NAME   ACTION           PORTS    DAYS   NEXT           LEFT
     1   1  night  off 21:30-06:00  1/0/5-8  daily  Tue 21:30 off  13 h 30 min
     1   3  shop   on 18:00-21:30   1/0/13   sat    Sat 18:00 on   4 d 10 h
  2 schedules, times in the switch's zone (CET)

While a window is open whose schedule would go, it is asked.

  $ go_to "2026-03-03 23:00"
  $ echo '{"format":1,"schedules":[]}' >empty.json
  $ quorin_poectl import empty.json --replace </dev/null
    -  unit 1  "night"  off 21:30-06:00 daily  1/0/5-8
    -  unit 1  "shop"   on 18:00-21:30 sat     1/0/13
  quorin_poectl: a window of 1 "night" of unit 1 is open since Tue 21:30 (run 1): its ports 1/0/5-8 may stay off.
  Nothing was changed. To do it all the same: -y
  [2]
  $ quorin_poectl import empty.json --replace --yes | tail -n 1
  quorin_poectl: warning: a window of 1 "night" of unit 1 is open since Tue 21:30 (run 1): its ports 1/0/5-8 may stay off.
  0 added, 0 changed, 2 removed, 0 the same

A schedule can't change its type: the old one is deleted, and another is added in its place.

  $ quorin_poectl --quiet import other.json >out
  $ sed 's/"power_on"/"power_off"/' other.json >turned.json
  $ quorin_poectl import turned.json
    ~  unit 1  "shop"  on 18:00-21:30 > off 18:00-21:30 (deleted and added anew)
  0 added, 1 changed, 0 removed, 1 the same
  $ quorin_poectl schedule list | sed -n 3p
     1   6  shop   off 18:00-21:30  1/0/13   sat    Sat 18:00 off  3 d 19 h

A file of the first edition is still read. There the numbers counted: that they are those of other
ports here is told, as are ports that are not here.

  $ cat >first.json <<END
  > {"format": 1, "schedules": [
  >   {"unit": 1, "name": "night", "scheduleType": "power_off", "recurrence": "daily",
  >    "ifNums": [5, 6, 7, 8], "portNames": ["1/0/5", "1/0/6", "1/0/7", "1/0/8"],
  >    "startTime": "21:30", "endTime": "06:00", "restartTime": null}]}
  > END
  $ quorin_poectl import first.json
    -  unit 1  "shop"  (with --replace)
  0 added, 0 changed, 0 removed, 1 the same, 1 not in the file
  $ sed 's,"1/0/5","1/0/9",; s/8],/505],/' first.json >moved.json
  $ quorin_poectl import moved.json
  quorin_poectl: moved.json cannot be imported, nothing was changed:
    line 3, "night": ifNum 5 is 1/0/9 in the file and 1/0/5 here (--force stores it)
    line 3, "night": ifNum 505, 1/0/8 in the file, is no PoE port of unit 1 here (--force stores it)
  [2]
  $ sed 's/"format": 1/"version": 3/' first.json | quorin_poectl import -
  quorin_poectl: stdin has version 3, and this client reads 1 (as "format") and 2.
  [2]

Nothing of a file is taken that has a fault. Each is told in one go: where it is, what stands there,
and what may. What the daemon would store, but not go by, can be forced, also a port without a name.

  $ cat >bad.json <<END
  > {"version": 2, "schedule": [],
  >  "schedules": [
  >   {"unit": 1, "name": "a \"{[: b", "scheduleType": "power_of", "recurrence": "dayly",
  >    "ports": "1/0/5-8", "startTime": "22:00",
  >    "endTime": "6"},
  >   {"unit": 1, "name": "bad days", "scheduleType": "power_off", "recurrence": "weekly",
  >    "recurrenceDays": [0, 1],
  >    "ports": "1/0/99",
  >    "startDate": "2026-02-30",
  >    "startTime": "22:00", "endTime": "24:00"},
  >   {"unit": 2, "name": "few", "scheduleType": "restart", "recurrence": "daily",
  >    "ports": "1/0/1", "offTimeSec": 0, "allDay": true},
  >   {"unit": 9, "nam": "x", "ports": "1/0/1", "ports": "1/0/2", "enabled": "yes"},
  >   {"unit": 1, "name": "two", "scheduleType": "power_on", "recurrence": "daily", "allDay": true,
  >    "ports": "1/0/1", "ifNums": [1]},
  >   7],
  >  "bootDelays": [{"unit": 1, "delaySec": 601, "executionMode": "slow"}, {"unit": 2}]}
  > END
  $ quorin_poectl import bad.json
  quorin_poectl: bad.json cannot be imported, nothing was changed:
    line 1: unknown key "schedule". Did you mean schedules?
    line 3, "a "{[: b": scheduleType "power_of" must be power_on, power_off or restart
    line 3, "a "{[: b": recurrence "dayly" must be daily, weekly or monthly
    line 5, "a "{[: b": endTime "6" must be a time of day, 00:00 to 23:59 (--force stores it)
    line 7, "bad days": recurrenceDays [0,1] must be 1 (Monday) to 7 (--force stores it)
    line 8, "bad days": ports "1/0/99": no PoE port "1/0/99": unit 1 has 1/0/1 to 1/0/24.  See: quorin_poectl ports
    line 9, "bad days": startDate "2026-02-30" must be a date of the calendar, such as 2026-03-31 (--force stores it)
    line 10, "bad days": endTime "24:00" must be a time of day, 00:00 to 23:59 (--force stores it)
    line 11, "few": restartTime is missing: it must be a time of day, 00:00 to 23:59
    line 12, "few": allDay true must be false for a restart
    line 12, "few": offTimeSec 0 must be 1 or more for a restart
    line 12, "few": ports "1/0/1" must be ports of unit 2
    line 13: unknown key "nam". Did you mean name?
    line 13: ports "1/0/2" is there twice
    line 13: unit 9 must be 1 to 8
    line 13: enabled "yes" must be true or false
    line 13: ports "1/0/1" must be ports of unit 9
    line 15, "two": ports and ifNums: only one of them can tell the ports
    line 16: this must be in {}, with keys and values
    line 17: delaySec 601 must be 0 to 600
    line 17: executionMode "slow" must be simultaneous or sequential
    line 17: delaySec is missing: it must be 0 to 600
  [2]
  $ quorin_poectl import bad.json --force 2>&1 | grep -c force
  0
  [1]
  $ sed '1,5d; 8s/.*/"ifNums": [7, 505],/; 11,$d' bad.json >forced.json
  $ (echo '{"version":2,"schedules":['; sed '5s/,$/]}/' forced.json) >odd.json
  $ quorin_poectl import odd.json --force
    +  unit 1  "bad days"  off 22:00-24:00 0,mon 2026-02-30..  #505,1/0/7
    -  unit 1  "night"     (with --replace)
    -  unit 1  "shop"      (with --replace)
  1 added, 0 changed, 0 removed, 0 the same, 2 not in the file
  quorin_poectl: warning: 7 "bad days" of unit 1: "24:00" is not a time of day: it never ends
    to correct it: quorin_poectl schedule set 7 --from HH:MM --to HH:MM
  quorin_poectl: warning: 7 "bad days" of unit 1: #505: no PoE port of unit 1
  quorin_poectl: warning: 7 "bad days" of unit 1: #505: the daemon switches no port with an ifNum above 128
  $ quorin_poectl export >all.json
  $ sed -n '/bad days/,/ifNums/p' all.json | tr -d '\t'
  "name":"bad days",
  "scheduleType":"power_off",
  "startDate":"2026-02-30",
  "recurrence":"weekly",
  "recurrenceDays":[0, 1],
  "ifNums":[7, 505],
  $ quorin_poectl import all.json
  0 added, 0 changed, 0 removed, 5 the same
  $ quorin_poectl --quiet schedule delete "bad days" --yes >out

A slip in the JSON itself is told with line and column, and so is what is no export.

  $ sed '3s/"a.*", "sch/"a" "sch/' bad.json | quorin_poectl import -
  quorin_poectl: stdin, line 3, column 27: no JSON from here: "scheduleType": "power_of", "r
  [2]
  $ printf '{"version": 2, "schedules": [],}' | quorin_poectl import -
  quorin_poectl: stdin, line 1, column 32: no JSON from here: }
  [2]
  $ printf '{"version":2,"schedules":[{\n"name":"caf\351"}]}' | quorin_poectl import -
  quorin_poectl: stdin, line 2, column 12: no JSON from here: \xe9"}]}
  [2]
  $ printf '{"version": 2,\n "schedules": [' | quorin_poectl import -
  quorin_poectl: stdin, line 2, column 16: the text ends within its JSON
  [2]
  $ echo '[]' | quorin_poectl import -
  quorin_poectl: stdin is no export: it must be a JSON document with "version" and "schedules". Make one with: quorin_poectl export FILE
  [2]
  $ quorin_poectl import nowhere.json
  quorin_poectl: nowhere.json could not be read: No such file or directory
  [1]
  $ quorin_poectl schedule list
  UNIT  ID  NAME   ACTION           PORTS    DAYS   NEXT           LEFT
     1   4  night  off 21:30-06:00  1/0/5-8  daily  Wed 06:00 on   7 h
     1   6  shop   off 18:00-21:30  1/0/13   sat    Sat 18:00 off  3 d 19 h
  2 schedules, times in the switch's zone (CET)

An import warns of what it has stored as `schedule add` does.

  $ quorin_poectl schedule add fair --off 1/0/12 --all-day >out 2>&1
  $ quorin_poectl export >fair.json
  $ quorin_poectl schedule delete fair -y >out
  $ quorin_poectl import fair.json
    +  unit 1  "fair"  off all day daily  1/0/12
  1 added, 0 changed, 0 removed, 4 the same
  quorin_poectl: warning: 9 "fair" of unit 1: nothing switches 1/0/12 on again
    to switch them on, too: quorin_poectl schedule add --help

A window that is under way is not begun.

  $ quorin_poectl export >late.json
  $ quorin_poectl schedule delete night --yes >out 2>&1
  $ quorin_poectl import late.json
    +  unit 1  "night"  off 21:30-06:00 daily  1/0/5-8
  1 added, 0 changed, 0 removed, 4 the same
  quorin_poectl: warning: 10 "night" of unit 1: its window is under way and is not begun now: at Wed 06:00 it switches its ports on all the same, and its first whole window begins Wed 21:30.

The daemon takes ports of another unit, and what is exported then can be read again.

  $ quorin_poectl call schedule.create '{"unit":2,"schedule":{"name":"strange",
  > "scheduleType":"restart","recurrence":"daily","restartTime":"03:30","offTimeSec":5,
  > "ifNums":[1]}}' >out
  $ quorin_poectl export strange.json >out
  4 schedules and 2 boot delays written to strange.json
  $ tr -d '\t' <strange.json | grep -A 3 strange
  "name":"strange",
  "scheduleType":"restart",
  "recurrence":"daily",
  "ifNums":[1],
  $ quorin_poectl import strange.json
  0 added, 0 changed, 0 removed, 6 the same
