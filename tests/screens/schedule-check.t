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
  3 "guard" of unit 1
    ! fights with 1 "office" over 1/0/6: at Tue 20:00 one wants off, the other on
  4 "cameras" of unit 2
    ! the clock skips Sun 2026-03-29 02:30: it does not fire that day
      choose a time outside the hour that is skipped
  4 schedules checked, 4 with warnings
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
            ! fights with 1 "office" over 1/0/6: at Tue 20:00 one wants off, the other on
  3 schedules, times in the switch's zone (CET)

A stored schedule can name ports that are gone. It acts on the others.

  $ quorin_poectl call schedule.create '{"unit":2,"schedule":{"name":"old","scheduleType":"restart",
  > "recurrence":"daily","restartTime":"05:00","offTimeSec":5,"ifNums":[30,99]}}' >created
  $ quorin_poectl schedule check old
  5 "old" of unit 2
    ! #99: no PoE port of unit 2
  1 schedule checked, 1 with warnings
  [1]
