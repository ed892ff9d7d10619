A site as a file: `quorin_poectl export` and `import`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl --quiet schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1-2 --at 03:30 --off-time 1m >out
  $ quorin_poectl bootdelay 1 --delay 30s --stagger 5s >out

The file names ports as people do, so that it can be read and changed by hand.

  $ quorin_poectl export site.json
  2 schedules and 2 boot delays written to site.json
  $ tr -d '\t' <site.json | sed -n '2,5p;11,13p;/bootDelays/,/}/p'
  "format":1,
  "schedules":[{
  "unit":1,
  "name":"night",
  "ifNums":[5, 6, 7, 8],
  "portNames":["1/0/5", "1/0/6", "1/0/7", "1/0/8"],
  "startTime":"22:00",
  "bootDelays":[{
  "unit":1,
  "delaySec":30,
  "executionMode":"sequential",
  "interPortDelaySec":5
  }, {
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

Ports that are others here, or are not here, are told.

  $ sed 's,"1/0/5","1/0/9",; s/"ifNums":\t*\[29,/"ifNums": [505,/' site.json >moved.json
  $ quorin_poectl import moved.json
  quorin_poectl: moved.json cannot be imported, nothing was changed:
    "night": ifNum 5 is 1/0/9 in the file and 1/0/5 here (--force stores it)
    "cameras": ifNum 505, 2/0/1 in the file, is no PoE port of unit 2 here (--force stores it)
  [2]

Nothing of a file is taken that has a fault, and each fault is told.

  $ sed 's/"03:30"/"25:30"/; s/"22:00"/"22"/' site.json >bad.json
  $ quorin_poectl import bad.json
  quorin_poectl: bad.json cannot be imported, nothing was changed:
    "night": the daemon would store it, but "22" is not a time of day: it never starts (--force stores it)
    "cameras": the daemon would store it, but "25:30" is not a time of day (--force stores it)
  [2]
  $ sed 's/"scheduleType"/"scheduelType"/' site.json >mistyped.json
  $ quorin_poectl import mistyped.json
  quorin_poectl: mistyped.json cannot be imported, nothing was changed:
    schedule 1 "night": unknown key "scheduelType". Did you mean scheduleType?
    schedule 2 "cameras": unknown key "scheduelType". Did you mean scheduleType?
  [2]
  $ echo '[]' | quorin_poectl import -
  quorin_poectl: the file is no export: it must be a JSON document with "format" and "schedules". Make one with: quorin_poectl export FILE
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
  quorin_poectl: warning: 8 "fair" of unit 1: nothing switches 1/0/12 on again
    to switch them on, too: quorin_poectl schedule add --help
