What schedules are going to do: `quorin_poectl next`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl next
  no schedule acts any more.  See: quorin_poectl schedule list

Each firing in its turn, also the ends of windows.

  $ quorin_poectl --quiet schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 \
  >   --weekly mon-fri >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1-3 --at 03:30 >out
  $ quorin_poectl --quiet schedule add fair --on 1/0/20 --all-day \
  >   --dates 2026-03-07..2026-03-08 >out
  $ quorin_poectl --quiet schedule add spare --restart 1/0/23 --at 12:00 --disabled >out
  $ quorin_poectl next --count 4
  WHEN       IN           ACT       PORTS    UNIT  SCHEDULE
  Tue 22:00  14 h         off       1/0/5-8     1  1 "night"
  Wed 03:30  19 h 30 min  restart   2/0/1-3     2  2 "cameras"
  Wed 06:00  22 h         on (end)  1/0/5-8     1  1 "night"
  Wed 22:00  1 d 14 h     off       1/0/5-8     1  1 "night"
  4 firings, times in the switch's zone (CET)
  $ quorin_poectl next --days 1 | tail -n 1
  3 firings, times in the switch's zone (CET)
  $ quorin_poectl next --count 2 --json | json
  {"firings":[
  {"at":"2026-03-03T22:00:00+01:00","act":"off","isEnd":false,"unit":1,"scheduleId":1,"scheduleName":"night","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"]},
  {"at":"2026-03-04T03:30:00+01:00","act":"restart","isEnd":false,"unit":2,"scheduleId":2,"scheduleName":"cameras","ifNums":[29,30,31],"portNames":["2/0/1","2/0/2","2/0/3"]}],"never":null}

Those of one schedule or of one unit; a schedule that rests does nothing.

  $ quorin_poectl next fair
  WHEN       IN        ACT  PORTS   UNIT  SCHEDULE
  Sat 00:00  3 d 16 h  on   1/0/20     1  3 "fair"
  Sun 00:00  4 d 16 h  on   1/0/20     1  3 "fair"
  2 firings, times in the switch's zone (CET)
  $ quorin_poectl next --unit 2 --count 2 --utc
  WHEN       IN           ACT      PORTS    UNIT  SCHEDULE
  Wed 02:30  19 h 30 min  restart  2/0/1-3     2  2 "cameras"
  Thu 02:30  1 d 19 h     restart  2/0/1-3     2  2 "cameras"
  2 firings, times in UTC, those of schedules in the switch's zone (CET)
  $ quorin_poectl next spare
  schedule 4 "spare" never acts: disabled.  See: quorin_poectl schedule list

The night in which clocks are put forward has no 02:30.

  $ quorin_poectl --quiet schedule add spring --restart 1/0/1 --at 02:30 \
  >   --dates 2026-03-28..2026-03-30 >out
  $ quorin_poectl next spring
  WHEN                  IN         ACT      PORTS  UNIT  SCHEDULE
  Sat 2026-03-28 02:30  24 d 18 h  restart  1/0/1     1  5 "spring"
  Mon 2026-03-30 02:30  26 d 17 h  restart  1/0/1     1  5 "spring"
  2 firings, times in the switch's zone (CET)

What is not there, and what does not go together.

  $ quorin_poectl next nobody
  quorin_poectl: no schedule "nobody".  See: quorin_poectl schedule list
  [10]
  $ quorin_poectl next --count 0
  quorin_poectl: --count: Value 0 not in range 1 to 10000
  See: quorin_poectl next --help
  [2]
