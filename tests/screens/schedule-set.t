Schedules that change or go: `quorin_poectl schedule set`, `rename`, `enable`, `disable`, `delete`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl schedule add night --off 1/0/1-4 --from 22:00 --to 06:00 >out
  $ quorin_poectl schedule add cameras --restart 2/0/1-3 --at 03:30 >out
  $ quorin_poectl schedule add office --off 1/0/6 --from 20:00 --to 07:00 --weekly mon-fri \
  >   --twin >out

Only what is given changes.

  $ quorin_poectl schedule set night --from 21:30
  changed 1 "night" of unit 1: off 21:30-06:00 daily, 1/0/1-4; next off Tue 21:30, in 13 h 30 min
  $ quorin_poectl schedule rename 1 evening
  changed 1 "evening" of unit 1: off 21:30-06:00 daily, 1/0/1-4; next off Tue 21:30, in 13 h 30 min
  $ quorin_poectl schedule set evening --off 1/0/1-2
  changed 1 "evening" of unit 1: off 21:30-06:00 daily, 1/0/1-2; next off Tue 21:30, in 13 h 30 min
  $ quorin_poectl schedule set cameras --daily --dates 2026-04-01..2026-04-30 --json
  {"schedule":{"unit":2,"scheduleId":2,"name":"cameras","scheduleType":"restart","startDate":"2026-04-01","endDate":"2026-04-30","recurrence":"daily","recurrenceDays":null,"ifNums":[29,30,31],"portNames":["2/0/1","2/0/2","2/0/3"],"startTime":null,"endTime":null,"allDay":null,"restartTime":"03:30","offTimeSec":10,"executionMode":"simultaneous","interPortDelaySec":0,"enabled":true,"status":"active","next":{"at":"2026-04-01T03:30:00+02:00","act":"restart"},"never":null},"twin":null,"changed":true}

A schedule stays of its kind: a window does not become a restart, nor "off" "on".

  $ quorin_poectl schedule set evening --restart 1/0/1-2 --at 04:00
  quorin_poectl: the type of schedule 1 cannot change: add a new schedule, then delete this one.
  [2]
  $ quorin_poectl schedule set cameras --from 22:00
  quorin_poectl: a restart has no window: give --at HH:MM and not --from, --to or --all-day.
  [2]

A twin goes along, in whatever is done to its schedule, and goes where it is needed no more.

  $ quorin_poectl schedule rename office "back office"
  changed 3 "back office" of unit 1: off 20:00-07:00 mon-fri, 1/0/6; next off Tue 20:00, in 12 h
  changed 4 "back office (morning after)" of unit 1: off 00:00-07:00 tue-sat, 1/0/6; next off Wed 00:00, in 16 h
  $ quorin_poectl schedule rename "back office" office >out
  $ quorin_poectl schedule set office --daily
  changed 3 "office" of unit 1: off 20:00-07:00 daily, 1/0/6; next off Tue 20:00, in 12 h
  deleted 4 "office (morning after)" of unit 1
  $ quorin_poectl schedule set office --weekly mon-fri --to 08:00 --twin
  changed 3 "office" of unit 1: off 20:00-08:00 mon-fri, 1/0/6; next off Tue 20:00, in 12 h
  added 5 "office (morning after)" of unit 1: off 00:00-08:00 tue-sat, 1/0/6; next off Wed 00:00, in 16 h
  $ quorin_poectl schedule set office --to 07:30
  changed 3 "office" of unit 1: off 20:00-07:30 mon-fri, 1/0/6; next off Tue 20:00, in 12 h
  changed 5 "office (morning after)" of unit 1: off 00:00-07:30 tue-sat, 1/0/6; next off Wed 00:00, in 16 h

Schedules rest, and go on.

  $ quorin_poectl schedule disable office
  disabled 3 "office" of unit 1: off 20:00-07:30 mon-fri, 1/0/6; never: disabled
  disabled 5 "office (morning after)" of unit 1: off 00:00-07:30 tue-sat, 1/0/6; never: disabled
  $ quorin_poectl --quiet schedule enable office
  enabled 3 "office" of unit 1: off 20:00-07:30 mon-fri, 1/0/6; next off Tue 20:00, in 12 h
  enabled 5 "office (morning after)" of unit 1: off 00:00-07:30 tue-sat, 1/0/6; next off Wed 00:00, in 16 h

While a window is open, its end is what switches ports on again: it is asked before that goes.

  $ go_to "2026-03-03 21:00"
  $ quorin_poectl schedule delete office </dev/null
  quorin_poectl: a window of 3 "office" of unit 1 is open since Tue 20:00 (run 1): its ports 1/0/6 stay off.
  Nothing was changed. To do it all the same: -y
  [2]
  $ quorin_poectl schedule delete office -y
  quorin_poectl: warning: a window of 3 "office" of unit 1 is open since Tue 20:00 (run 1): its ports 1/0/6 stay off.
  deleted 3 "office" of unit 1
  deleted 5 "office (morning after)" of unit 1

Several go together, and a twin with its schedule, named or not. Where one is not there, none goes.

  $ quorin_poectl schedule add a --off 1/0/9 --from 20:00 --to 07:00 --weekly mon-fri --twin >out
  quorin_poectl: warning: 6 "a" of unit 1: its window is under way and is not begun now: at Wed 07:00 it switches its ports on all the same, and its first whole window begins Wed 20:00.
  $ quorin_poectl schedule add b --restart 1/0/9 --at 12:00 >out
  $ quorin_poectl schedule disable a "a (morning after)" b
  disabled 6 "a" of unit 1: off 20:00-07:00 mon-fri, 1/0/9; never: disabled
  disabled 7 "a (morning after)" of unit 1: off 00:00-07:00 tue-sat, 1/0/9; never: disabled
  disabled 8 "b" of unit 1: restart 12:00 daily, 1/0/9; never: disabled
  $ quorin_poectl schedule enable b 8 --json | json | cut -c 1-60
  {"changes":[
  {"schedule":{"unit":1,"scheduleId":8,"name":"b","scheduleTyp
  $ quorin_poectl schedule delete b c
  quorin_poectl: no schedule "c". Did you mean a?  See: quorin_poectl schedule list
  [10]
  $ quorin_poectl schedule delete b a
  deleted 8 "b" of unit 1
  deleted 6 "a" of unit 1
  deleted 7 "a (morning after)" of unit 1

Others go at once.

  $ quorin_poectl schedule delete evening
  deleted 1 "evening" of unit 1
  $ quorin_poectl schedule list
  UNIT  ID  NAME     ACTION         PORTS    DAYS                          NEXT                  LEFT
     2   2  cameras  restart 03:30  2/0/1-3  daily 2026-04-01..2026-04-30  Wed 2026-04-01 03:30  28 d 5 h
  1 schedule, times in the switch's zone (CET)

Two units may have schedules of one name: then the unit is needed.

  $ quorin_poectl schedule add twin --restart 1/0/1 --at 01:00 >out
  $ quorin_poectl schedule add twin --restart 2/0/1 --at 01:00 >out
  $ quorin_poectl schedule delete twin
  quorin_poectl: units 1 and 2 have a schedule "twin": say which with --unit N.
  [2]
  $ quorin_poectl schedule delete twin --unit 1
  deleted 9 "twin" of unit 1

What is not there, and what changes nothing.

  $ quorin_poectl schedule set twin
  quorin_poectl: what shall change? Nothing is given. See: quorin_poectl schedule set --help
  [2]
  $ quorin_poectl schedule set twim --at 02:00
  quorin_poectl: no schedule "twim". Did you mean twin?  See: quorin_poectl schedule list
  [10]
  $ quorin_poectl schedule set twin --unit 2 --at 2
  quorin_poectl: "2" is not a time of day (00:00 to 23:59): the daemon would store it and never fire.
  [2]

What is the id of one schedule and the name of another is not guessed. New names are none that would
be taken for an id, or cannot be seen; what is there already stays usable.

  $ quorin_poectl call schedule.create '{"unit":1,"schedule":{"name":"2","scheduleType":"restart",
  > "recurrence":"daily","restartTime":"05:00","offTimeSec":5,"ifNums":[7]}}' >created
  $ quorin_poectl schedule delete 2
  quorin_poectl: 2 is the id of "cameras" and the name of 11: say which with --id or --name.
  [2]
  $ quorin_poectl schedule show --id 2 | sed -n '1,2p'
  schedule  2 of unit 2
  name      cameras
  $ quorin_poectl schedule rename --name 2 doors
  changed 11 "doors" of unit 1: restart 05:00 daily, 1/0/7; next restart Wed 05:00, in 8 h
  $ quorin_poectl schedule rename doors 2
  quorin_poectl: "2" is a number, which would be taken for an id: put a letter into the name.
  [2]
  $ quorin_poectl schedule rename doors " "
  quorin_poectl: the schedule needs a name.
  [2]
  $ quorin_poectl schedule rename doors "$(printf 'a\342\200\256b')"
  quorin_poectl: "a\u{202e}b" has characters or blanks that cannot be seen, or is not UTF-8.
  [2]

A twin that was changed by itself is told of, and left alone.

  $ quorin_poectl schedule add shop --off 1/0/8 --from 20:00 --to 07:00 --weekly sat --twin >out
  $ quorin_poectl schedule set "shop (morning after)" --to 06:00 >out
  quorin_poectl: warning: 13 "shop (morning after)" of unit 1: fights with 12 "shop" over 1/0/8: at Sun 06:00 one wants off, the other on
  $ quorin_poectl schedule check shop | sed -n '2,5p'
    ! ends on its own days only (sat): from Sat 20:00 the ports stay off until Sat 2026-03-14 07:00
      to end it each morning: quorin_poectl schedule set 12 --twin
    ! its twin 13 "shop (morning after)" no longer fits
      to mend it: quorin_poectl schedule set 12 --twin
  $ quorin_poectl schedule delete shop
  quorin_poectl: warning: 13 "shop (morning after)" of unit 1 has its twin's name, but does not end it: it stays as it is.
  deleted 12 "shop" of unit 1
