Schedules tried in a lab of their own: `quorin_poectl rehearse` and `switchsim rehearse`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab
  $ export TMPDIR="$PWD"
  $ quorin_poectl schedule add night --off 1/0/5-6 --from 22:00 --to 06:00 --weekly mon-thu >out 2>&1
  $ quorin_poectl schedule add door --restart 1/0/1 --at 23:59 --off-time 90s >out
  $ quorin_poectl schedule add fair --off 1/0/9 --all-day --dates 2026-03-03..2026-03-03 >out
  quorin_poectl: warning: 3 "fair" of unit 1: nothing switches 1/0/9 on again
    to switch them on after its days: quorin_poectl schedule set 3 --twin
  $ go_to "2026-03-03 22:30"

It begins with what is so: a window is open, and what was to be done of this day is done.

  $ quorin_poectl rehearse --days 2
  WHEN       ACT                       PORTS    SCHEDULE
  Tue 23:59  restart, dark 1 min 30 s  1/0/1    2 "door"
  Wed 06:00  on (end)                  1/0/5-6  1 "night"
  Wed 22:00  off                       1/0/5-6  1 "night"
  Wed 23:59  restart, dark 1 min 30 s  1/0/1    2 "door"
  Thu 06:00  on (end)                  1/0/5-6  1 "night"
  Thu 22:00  off                       1/0/5-6  1 "night"
  rehearsed 3 schedules from Tue 2026-03-03 22:31 to Thu 2026-03-05 22:31, times in the switch's zone (CET)
  
  What deserves a look:
    1/0/9 off for 2 d, already in the beginning to the end, by 3 "fair"; to switch it on after its days: quorin_poectl schedule set 3 --twin
  [1]

From a later day: the lab lives through the time until then. A night that nobody ends is found.

  $ quorin_poectl rehearse night --from 2026-03-05 --days 4
  WHEN       ACT       PORTS    SCHEDULE
  Thu 06:00  on (end)  1/0/5-6  1 "night"
  Thu 22:00  off       1/0/5-6  1 "night"
  rehearsed 1 schedule from Thu 2026-03-05 00:00 to Mon 2026-03-09 00:00, times in the switch's zone (CET)
  
  What deserves a look:
    1/0/5-6 off for 3 d 2 h, from Thu 22:00 to the end, by 1 "night"; to end it each morning: quorin_poectl schedule set 1 --twin
    1/0/5-6 run of Thu 22:00 of 1 "night": Window end never fired; to end it each morning: quorin_poectl schedule set 1 --twin
  [1]

A start of the switch holds its ports back.

  $ quorin_poectl bootdelay 1 --delay 60s --stagger 5s >out
  $ quorin_poectl rehearse door --boot --days 1 | sed -n 2,4p
  Tue 22:31  dark 2 min 40 s           1/0/1-4,1/0/7-8,1/0/10-24  boot delay
  Tue 23:59  restart, dark 1 min 30 s  1/0/1                      2 "door"
  rehearsed 1 schedule from Tue 2026-03-03 22:31 to Wed 2026-03-04 22:31, times in the switch's zone (CET)

A file, here or on a machine without a daemon, with the ports of its schedules or those that are given.

  $ quorin_poectl export site.json
  3 schedules and 1 boot delay written to site.json
  $ quorin_poectl ports --json >ports.json
  $ sed -i '1s/{/{"now":"2026-03-03T22:30:00+01:00",/' site.json
  $ switchsim rehearse site.json --ports ports.json --days 1 | sed -n 2,3p
  Tue 23:59  restart, dark 1 min 30 s  1/0/1    "door"
  Wed 06:00  on (end)                  1/0/5-6  "night"
  $ switchsim rehearse site.json --from "2026-03-05" --days 1 --json | cut -c1-150
  {"from":"2026-03-05T00:00:00+01:00","until":"2026-03-06T00:00:00+01:00","changes":[{"at":"2026-03-05T00:00:30+01:00","act":"on","isEnd":false,"unit":1
  $ sed 's/power_off/power_of/; s,1/0/9,desk,' site.json >bad.json
  $ switchsim rehearse bad.json
  switchsim: bad.json cannot be rehearsed:
    line 6, "night": scheduleType "power_of" must be power_on, power_off or restart
    line 30, "fair": scheduleType "power_of" must be power_on, power_off or restart
    line 34, "fair": ports "desk": no PoE port "desk": unit 1 has 1/0/1 to 1/0/6.  See: quorin_poectl ports
  [2]

What cannot be rehearsed.

  $ quorin_poectl rehearse nigth
  quorin_poectl: no schedule "nigth". Did you mean night?  See: quorin_poectl schedule list
  [10]
  $ quorin_poectl rehearse --from yesterday
  switchsim: --from: "yesterday" is no day to come; times are "14:00", "tue 14:00", "yesterday", "2026-03-03 14:00" or "-2h".
  [2]
  $ echo '{"format":1,"schedules":[]}' | switchsim rehearse -
  switchsim: there is no enabled schedule to rehearse
  [10]
  $ switchsim rehearse ports.json
  switchsim: ports.json is no export: it must be a JSON document with "version" and "schedules". Make one with: quorin_poectl export FILE
  [2]
  $ quorin_poectl --socket nowhere rehearse 2>&1 | head -n 1
  quorin_poectl: no daemon answers at nowhere: No such file or directory

Nothing of them is left.

  $ ls -d quorin-rehearsal.*
  ls: cannot access 'quorin-rehearsal.*': No such file or directory
  [2]
