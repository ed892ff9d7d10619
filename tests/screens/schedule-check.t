What will not happen as one expects: `quorin_poectl schedule check`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

Where all is well there is nothing to say.

  $ quorin_poectl schedule check
  0 schedules checked, nothing to warn of

Windows that stay open over the weekend, dates that are over, schedules that fight over a port, a
time that a night in spring skips: each is told, and the exit status is 1.

  $ quorin_poectl --quiet schedule add office --off 1/0/6 --from 20:00 --to 07:00 \
  >   --weekly mon-fri >out
  $ quorin_poectl --quiet schedule add fair --on 1/0/7 --from 08:00 --to 18:00 \
  >   --dates ..2025-12-31 --force >out
  $ quorin_poectl --quiet schedule add guard --on 1/0/6 --from 20:00 --to 22:00 >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1 --at 02:30 >out
  $ quorin_poectl schedule check
  1 "office" of unit 1
    ! ends on its own days only (mon-fri): from Fri 20:00 the ports stay off until Mon 07:00
      to end it each morning: quorin_poectl schedule set 1 --twin
    ! fights with 3 "guard" over 1/0/6: at Tue 20:00 one wants off, the other on
  2 "fair" of unit 1
    ! never fires: its dates ended on 2025-12-31
      to change it: quorin_poectl schedule set 2 --help
  4 "cameras" of unit 2
    ! the clock skips Sun 2026-03-29 02:30: it does not fire that day
      choose a time outside the hour that is skipped
  4 schedules checked, 3 with warnings
  [1]
  $ quorin_poectl schedule check office --json | json
  {"schedules":[
  {"unit":1,"scheduleId":1,"scheduleName":"office","warnings":[
  {"kind":"noEnd","text":"ends on its own days only (mon-fri): from Fri 20:00 the ports stay off until Mon 07:00","advice":"to end it each morning: quorin_poectl schedule set 1 --twin"},
  {"kind":"fight","text":"fights with 3 \"guard\" over 1/0/6: at Tue 20:00 one wants off, the other on","advice":null}]}]}

The list has them below the schedules that they are about.

  $ quorin_poectl schedule list --unit 1
  UNIT  ID  NAME    ACTION           PORTS  DAYS                NEXT                                  LEFT
     1   1  office  off 20:00-07:00  1/0/6  mon-fri             Tue 20:00 off                         12 h
            ! ends on its own days only (mon-fri): from Fri 20:00 the ports stay off until Mon 07:00
              to end it each morning: quorin_poectl schedule set 1 --twin
            ! fights with 3 "guard" over 1/0/6: at Tue 20:00 one wants off, the other on
     1   2  fair    on 08:00-18:00   1/0/7  daily ..2025-12-31  never: its dates ended on 2025-12-31
     1   3  guard   on 20:00-22:00   1/0/6  daily               Tue 20:00 on                          12 h
  3 schedules, times in the switch's zone (CET)

A stored schedule can name ports that are gone. It acts on the others.

  $ quorin_poectl call schedule.create '{"unit":2,"schedule":{"name":"old","scheduleType":"restart",
  > "recurrence":"daily","restartTime":"05:00","offTimeSec":5,"ifNums":[30,99]}}' >created
  $ quorin_poectl schedule check old
  5 "old" of unit 2
    ! #99: no PoE port of unit 2
  1 schedule checked, 1 with warnings
  [1]

What two schedules do to each other is told once: what comes in the dark time of a restart is skipped,
a window is there twice. Told of one schedule alone, it is told of either.

  $ begin() { quorin_poectl --quiet schedule add "$@" >out; }
  $ begin early --restart 1/0/20-22 --at 03:00 --off-time 10m
  $ begin late --restart 1/0/21 --at 03:05
  $ begin dark --off 1/0/22 --from 03:09 --to 05:00
  $ begin again --off 1/0/22 --from 03:09 --to 05:00 --monthly 29-31
  $ begin noon --restart 1/0/23 --at 12:00 --off-time 25h
  $ begin empty --on 1/0/24 --from 12:00 --to 12:00
  $ quorin_poectl call schedule.create '{"unit":1,"schedule":{"name":"odd","scheduleType":"restart",
  > "recurrence":"daily","restartTime":"24:00","offTimeSec":5,"ifNums":[2],"startDate":"2026-05-31",
  > "endDate":"2026-05-01"}}' >created
  $ quorin_poectl schedule check | sed -n '/ 6 /,$p'
    ! 6 "early" has 1/0/21 for 10 min from Wed 03:00: 7 "late" comes at Wed 03:05 and skips what is busy
    ! 6 "early" has 1/0/22 for 10 min from Wed 03:00: 8 "dark" comes at Wed 03:09 and skips what is busy
    ! 6 "early" has 1/0/22 for 10 min from Sun 2026-03-29 03:00: 9 "again" comes at Sun 2026-03-29 03:09 and skips what is busy
  8 "dark" of unit 1
    ! has the same window as 9 "again" for 1/0/22
  9 "again" of unit 1
    ! not every month has a day 29, 30, 31: it does not fire in those that lack it
  10 "noon" of unit 1
    ! 10 "noon" has 1/0/23 for 1 d 1 h from Tue 12:00: its own time at Wed 12:00 is skipped
  11 "empty" of unit 1
    ! starts and ends in the same minute
      to change it: quorin_poectl schedule set 11 --to HH:MM
  12 "odd" of unit 1
    ! never fires: "24:00" is not a time of day
      to change it: quorin_poectl schedule set 12 --help
  4 "cameras" of unit 2
    ! the clock skips Sun 2026-03-29 02:30: it does not fire that day
      choose a time outside the hour that is skipped
  5 "old" of unit 2
    ! #99: no PoE port of unit 2
  12 schedules checked, 10 with warnings
  $ quorin_poectl schedule check late
  7 "late" of unit 1
    ! 6 "early" has 1/0/21 for 10 min from Wed 03:00: 7 "late" comes at Wed 03:05 and skips what is busy
  1 schedule checked, 1 with warnings
  [1]
