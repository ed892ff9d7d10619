New schedules: `quorin_poectl schedule add`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

A window that switches ports off or on, or a restart; each is told as it was understood, with the
moment when it acts next.

  $ quorin_poectl schedule add night --off 1/0/1-4 --from 22:00 --to 06:00
  added 1 "night" of unit 1: off 22:00-06:00 daily, 1/0/1-4; next off Tue 22:00, in 14 h
  $ quorin_poectl schedule add shop --on 1/0/13,1/0/15-16 --from 18:00 --to 21:55 \
  >   --weekly sat,mon-wed
  added 2 "shop" of unit 1: on 18:00-21:55 mon-wed,sat, 1/0/13,1/0/15-16; next on Tue 18:00, in 10 h
  $ quorin_poectl schedule add cameras --restart 2/0/1-3 --at 03:30 --off-time 1m --stagger 5s
  added 3 "cameras" of unit 2: restart 03:30 daily, 2/0/1-3; next restart Wed 03:30, in 19 h 30 min
  $ quorin_poectl schedule add fair --off 1/0/20 --all-day --dates 2026-03-07..2026-03-08
  added 4 "fair" of unit 1: off all day daily 2026-03-07..2026-03-08, 1/0/20; next off Sat 00:00, in 3 d 16 h
  quorin_poectl: warning: 4 "fair" of unit 1: nothing switches 1/0/20 on again
    to switch them on after its days: quorin_poectl schedule set 4 --twin
  $ quorin_poectl schedule add payday --restart 1/0/22 --at 12:00 --monthly 1,31
  added 5 "payday" of unit 1: restart 12:00 1,31 monthly, 1/0/22; next restart Tue 2026-03-31 12:00, in 28 d 3 h
  quorin_poectl: warning: 5 "payday" of unit 1: not every month has a day 31: it does not fire in those that lack it
  $ quorin_poectl schedule add spare --restart 1/0/23 --at 12:00 --disabled
  added 6 "spare" of unit 1: restart 12:00 daily, 1/0/23; never: disabled
  $ quorin_poectl schedule list
  UNIT  ID  NAME     ACTION           PORTS             DAYS                          NEXT                  LEFT
     1   1  night    off 22:00-06:00  1/0/1-4           daily                         Tue 22:00 off         14 h
     1   2  shop     on 18:00-21:55   1/0/13,1/0/15-16  mon-wed,sat                   Tue 18:00 on          10 h
     1   4  fair     off all day      1/0/20            daily 2026-03-07..2026-03-08  Sat 00:00 off         3 d 16 h
            ! nothing switches 1/0/20 on again
              to switch them on after its days: quorin_poectl schedule set 4 --twin
     1   5  payday   restart 12:00    1/0/22            1,31 monthly                  Tue 2026-03-31 12:00  28 d 3 h
            ! not every month has a day 31: it does not fire in those that lack it
     1   6  spare    restart 12:00    1/0/23            daily                         never: disabled
     2   3  cameras  restart 03:30    2/0/1-3           daily                         Wed 03:30             19 h 30 min
  6 schedules, times in the switch's zone (CET)

What was stored, in full.

  $ quorin_poectl schedule show cameras
  schedule  3 of unit 2
  name      cameras
  action    restart 03:30
  dark for  1 min
  days      daily
  ports     2/0/1-3
  switched  one after the other, 5 s apart
  next      restart Wed 03:30, in 19 h 30 min
  times in the switch's zone (CET)
  $ quorin_poectl schedule show fair --json
  {"unit":1,"scheduleId":4,"name":"fair","scheduleType":"power_off","startDate":"2026-03-07","endDate":"2026-03-08","recurrence":"daily","recurrenceDays":null,"ifNums":[20],"portNames":["1/0/20"],"startTime":null,"endTime":null,"allDay":true,"restartTime":null,"offTimeSec":null,"executionMode":"simultaneous","interPortDelaySec":0,"enabled":true,"status":"active","next":{"at":"2026-03-07T00:00:00+01:00","act":"off"},"never":null}

A window over midnight that ends on its own days only leaves its ports off at the weekend: that is
warned of. With `--twin` a second schedule ends the last night.

  $ quorin_poectl schedule add office --off 1/0/6 --from 20:00 --to 07:00 --weekly mon-fri
  added 7 "office" of unit 1: off 20:00-07:00 mon-fri, 1/0/6; next off Tue 20:00, in 12 h
  quorin_poectl: warning: 7 "office" of unit 1: ends on its own days only (mon-fri): from Fri 20:00 the ports stay off until Mon 07:00
    to end it each morning: quorin_poectl schedule set 7 --twin
  $ quorin_poectl schedule add lobby --off 1/0/7 --from 20:00 --to 07:00 --weekly mon-fri \
  >   --twin
  added 8 "lobby" of unit 1: off 20:00-07:00 mon-fri, 1/0/7; next off Tue 20:00, in 12 h
  added 9 "lobby (morning after)" of unit 1: off 00:00-07:00 tue-sat, 1/0/7; next off Wed 00:00, in 16 h

24:00 is an end. The daemon would never fire it: it gets 00:00, of the next day.

  $ quorin_poectl schedule add eve --off 1/0/16 1/0/18 --from 22:00 --to 24:00 --weekly mon tue --twin
  added 10 "eve" of unit 1: off 22:00-00:00 mon,tue, 1/0/16,1/0/18; next off Tue 22:00, in 14 h
  added 11 "eve (morning after)" of unit 1: off 00:00-00:00 tue,wed, 1/0/16,1/0/18; next off Wed 00:00, in 16 h
  $ quorin_poectl schedule delete eve
  deleted 10 "eve" of unit 1
  deleted 11 "eve (morning after)" of unit 1
  $ quorin_poectl schedule add eve --off 1/0/16 --from 22:00 --to 24:00 --monthly 1 15
  quorin_poectl: 24:00 is 00:00 of the next day, where the days after those of a month are not the same every month. To end it on its own day: --to 23:59
  [2]
  $ quorin_poectl schedule add eve --off 1/0/16 --from 00:00 --to 24:00
  quorin_poectl: 00:00 to 24:00 would begin and end in one minute: --all-day, or --to 23:59
  [2]
  $ quorin_poectl schedule add eve --off 1/0/16 --from 24:00 --to 06:00
  quorin_poectl: "24:00" is not a time of day (00:00 to 23:59): the daemon would store it and never fire.
  [2]

What would never fire is not stored, but with `--force`.

  $ quorin_poectl schedule add gone --restart 1/0/10 --at 12:00 --dates 2025-01-01..2025-12-31
  quorin_poectl: the daemon would store "gone", but its dates ended on 2025-12-31. To store it all the same: --force
  [2]
  $ quorin_poectl schedule add gone --restart 1/0/10 --at 12:00 --dates 2025-01-01..2025-12-31 \
  >   --force
  added 12 "gone" of unit 1: restart 12:00 daily 2025-01-01..2025-12-31, 1/0/10; never: its dates ended on 2025-12-31

What is missing, what does not go together, and what cannot be read.

  $ quorin_poectl schedule add late
  quorin_poectl: what shall the schedule do? Give --off, --on or --restart with its ports.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1
  quorin_poectl: when is the window? Give --from HH:MM and --to HH:MM, or --all-day.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1 --at 22:00
  quorin_poectl: --at and --off-time are for --restart: a window takes --from and --to, or --all-day.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1 --from 25:00 --to 26:00
  quorin_poectl: "25:00" is not a time of day (00:00 to 23:59): the daemon would store it and never fire.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1 --from 22:00 --to 23:00 --weekly moon
  quorin_poectl: "moon" is no day of the week: days are mon-fri, sat,sun or 1-5.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1 --from 22:00 --to 23:00 --dates 2026-02-30..
  quorin_poectl: "2026-02-30" is no date of the calendar: dates are such as 2026-03-31.
  [2]
  $ quorin_poectl schedule add late --restart 1/0/1 --at 22:00 --dates 2026-05-31..2026-05-01
  quorin_poectl: the daemon would store "late", but its dates are reversed: 2026-05-01 is before 2026-05-31. To store it all the same: --force
  [2]
  $ quorin_poectl schedule add late --off 1/0/23-2/0/4 --from 22:00 --to 23:00
  quorin_poectl: "1/0/23-2/0/4" is no range: a range stays in its unit.
  [2]
  $ quorin_poectl schedule add late --off 1/0/1,2/0/1 --from 22:00 --to 23:00
  quorin_poectl: 1/0/1,2/0/1: ports of units 1 and 2 cannot be in one schedule. Make a schedule for each unit.
  [2]
  $ quorin_poectl schedule add night --off 1/0/11 --from 22:00 --to 23:00
  quorin_poectl: unit 1 has a schedule "night" already: give it another name, or change that one with quorin_poectl schedule set
  [4]

Nothing ends what an all-day schedule switches off: it is warned of, and `--twin` makes the schedule
that does, on the first days that follow and are none of its own.

  $ quorin_poectl schedule add weekend --off 1/0/21 --all-day --weekly sat,sun --twin
  added 13 "weekend" of unit 1: off all day sat,sun, 1/0/21; next off Sat 00:00, in 3 d 16 h
  added 14 "weekend (morning after)" of unit 1: on all day mon, 1/0/21; next on Mon 00:00, in 5 d 16 h
  $ quorin_poectl schedule add stock --off 1/0/22 --all-day --monthly 1,2,27 --twin
  added 15 "stock" of unit 1: off all day 1,2,27 monthly, 1/0/22; next off Fri 2026-03-27 00:00, in 23 d 16 h
  added 16 "stock (morning after)" of unit 1: on all day 3,28 monthly, 1/0/22; on within a minute, if it was not today; next on Sat 2026-03-28 00:00, in 24 d 16 h
  quorin_poectl: warning: 15 "stock" of unit 1: fights with 5 "payday" over 1/0/22: at Wed 2026-04-01 12:00 one wants off, the other on
  $ quorin_poectl schedule add gone --off 1/0/23 --all-day --twin
  quorin_poectl: --twin is not for "gone": its days never end.
  [2]
  $ quorin_poectl schedule add late --off 1/0/23 --all-day --monthly 30 --twin
  quorin_poectl: --twin is not for "late": the days after those of a month are not the same every month.
  [2]
  $ quorin_poectl schedule set fair --twin
  kept 4 "fair" of unit 1: off all day daily 2026-03-07..2026-03-08, 1/0/20; next off Sat 00:00, in 3 d 16 h
  added 17 "fair (morning after)" of unit 1: on all day daily 2026-03-09..2026-03-09, 1/0/20; next on Mon 00:00, in 5 d 16 h

What is added in its own window begins with the next one. Its end comes all the same.

  $ quorin_poectl schedule add today --off 1/0/19 --from 07:00 --to 17:00
  added 18 "today" of unit 1: off 07:00-17:00 daily, 1/0/19; next on Tue 17:00, in 9 h
  quorin_poectl: warning: 18 "today" of unit 1: its window is under way and is not begun now: at Tue 17:00 it switches its ports on all the same, and its first whole window begins Wed 07:00.

One day is enough for dates. What is said to be an id is not looked for among the names.

  $ quorin_poectl schedule add fest --on 1/0/20 --from 18:00 --to 23:00 --dates 2026-03-20
  added 19 "fest" of unit 1: on 18:00-23:00 daily 2026-03-20..2026-03-20, 1/0/20; next on Fri 2026-03-20 18:00, in 17 d 10 h
  $ quorin_poectl schedule show --id fest
  quorin_poectl: no schedule has the id "fest".  See: quorin_poectl schedule list
  [10]
