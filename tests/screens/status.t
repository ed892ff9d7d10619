What a switch looks like from afar: `quorin_poectl status`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

A switch on which nothing is scheduled and nothing has happened. The ports that need a look are
named: three devices want more than their port may give.

  $ quorin_poectl status
  daemon       answers, *.? ms (glob)
  switch time  Tue 2026-03-03 08:00:00, times in the switch's zone (CET)
  units        1 (24 PoE ports, 147.4 W), 2 (24 PoE ports, 141.0 W)
  ports        27 delivering, 18 searching, 3 with a fault or denied
               1/0/12,2/0/10,2/0/23 denied
  open runs    none
  next         nothing
  last 24 h    0 runs

One unit of the stack; one that is not there is none for any command, unless something is known of it.

  $ quorin_poectl status --unit 1 | sed -n '3,5p'
  units        1 (24 PoE ports, 147.4 W)
  ports        14 delivering, 9 searching, 1 with a fault or denied
               1/0/12 denied
  $ quorin_poectl status --unit 3
  quorin_poectl: unit 3 has no PoE ports, or is not there. See: quorin_poectl ports
  [10]

Times can be told in UTC. What schedules are told in is the switch's zone all the same.

  $ quorin_poectl --utc status | sed -n '2p'
  switch time  Tue 2026-03-03 07:00:00, times in UTC, those of schedules in the switch's zone (CET)

Who has another zone in TZ than the switch is warned, for schedules would be read wrongly.

  $ switchsim clock "2026-03-03 08:00:00"
  $ TZ=UTC quorin_poectl status | grep 'time'
  quorin_poectl: warning: the switch's clock says Tue 2026-03-03 08:00:00, this system's says Tue 2026-03-03 07:00:00: schedules go by the switch's clock. Is TZ the switch's zone?
  switch time  Tue 2026-03-03 08:00:00, times in the switch's zone (UTC)
  $ switchsim clock follow

A port that somebody switched off by the switch's own CLI is told apart from those that a schedule
keeps off, with the command that brings it back.

  $ switchsim set 1/0/3 off
  $ quorin_poectl schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 >out
  $ go_to "2026-03-03 22:00"
  $ quorin_poectl status
  daemon       answers, *.? ms (glob)
  switch time  Tue 2026-03-03 22:00:00, times in the switch's zone (CET)
  units        1 (24 PoE ports, 100.7 W), 2 (24 PoE ports, 141.0 W)
  ports        24 delivering, 16 searching, 4 off by a schedule, 1 off for no reason known here, 3 with a fault or denied
               1/0/3 no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may have
                 to bring back: quorin_poectl on 1/0/3
               1/0/12,2/0/10,2/0/23 denied
  open runs    1 "night" since Tue 22:00
  next         Wed 06:00  on (end)  1/0/5-8  "night"
               Wed 22:00  off       1/0/5-8  "night"
               Thu 06:00  on (end)  1/0/5-8  "night"
  last 24 h    1 run: 1 running
  $ quorin_poectl status --json | json
  {"answerMicroseconds":*,"switchTime":"2026-03-03T22:00:00+01:00","zone":"Europe/Berlin","units":[ (glob)
  {"unit":1,"poePorts":24,"powerMw":100700},
  {"unit":2,"poePorts":24,"powerMw":141000}],"ports":{"delivering":24,"searching":16,"offBySchedule":4,"offForGood":0,"offByRun":0,"offUnexplained":1,"fault":3},"offForGood":[],"unexplained":[
  {"unit":1,"ifNum":3,"name":"1/0/3","label":null,"since":null,"runId":null,"why":"no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may have","command":"quorin_poectl on 1/0/3"}],"faults":[
  {"unit":1,"ifNum":12,"name":"1/0/12","label":null,"detectionStatus":"denied"},
  {"unit":2,"ifNum":38,"name":"2/0/10","label":null,"detectionStatus":"denied"},
  {"unit":2,"ifNum":51,"name":"2/0/23","label":null,"detectionStatus":"denied"}],"openRuns":[
  {"runId":1,"unit":1,"triggered":"scheduled","scheduleId":1,"scheduleName":"night","scheduleType":"power_off","status":"running","startedAt":"2026-03-03T22:00:00+01:00","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"],"why":null}],"next":[
  {"at":"2026-03-04T06:00:00+01:00","act":"on","isEnd":true,"unit":1,"scheduleId":1,"scheduleName":"night","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"]},
  {"at":"2026-03-04T22:00:00+01:00","act":"off","isEnd":false,"unit":1,"scheduleId":1,"scheduleName":"night","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"]},
  {"at":"2026-03-05T06:00:00+01:00","act":"on","isEnd":true,"unit":1,"scheduleId":1,"scheduleName":"night","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"]}],"last24h":{"runs":1,"success":0,"partial":0,"failed":0,"aborted":0,"running":1},"failed":[]}

What went wrong in the last day is told with the run to look at. Here the switch refuses an order.

  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/6 --result -1
  $ go_to "2026-03-04 06:00"
  $ quorin_poectl status | sed -n '7,8p;$p'
               1/0/6 off since Tue 22:00: switched off by schedule 1 "night" (off 22:00-06:00), run 1, partial: restore failed
                 to bring back: quorin_poectl on 1/0/6
               1 "night" partial Tue 22:00: 1/0/6: restore failed (quorin_poectl history 1)
  $ quorin_poectl status --json | json | tail -n 1
  {"runId":1,"unit":1,"triggered":"scheduled","scheduleId":1,"scheduleName":"night","scheduleType":"power_off","status":"partial","startedAt":"2026-03-03T22:00:00+01:00","ifNums":[5,6,7,8],"portNames":["1/0/5","1/0/6","1/0/7","1/0/8"],"why":"1/0/6: restore failed"}]}

Colours are for a terminal, or where they are asked for.

  $ quorin_poectl --color always status | sed -n '1p;5p' | cat -v
  ^[[2mdaemon^[[0m       answers, *.? ms (glob)
               ^[[33m1/0/3 no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may have^[[0m

For a monitoring system: a line, and no other exit statuses than its own.

  $ quorin_poectl status --check
  POE CRITICAL: 1/0/3,1/0/6 off for no reason known here, 1/0/12,2/0/10,2/0/23 denied, "night" partial (run 1) | delivering=* (glob)
  [2]
  $ quorin_poectl status --check --unit 2 | sed 's/ answer_time=.*//'
  POE WARNING: 2/0/10,2/0/23 denied | delivering=13 searching=9 off_by_schedule=0 off_for_good=0;0 off_by_run=0 off_unexplained=0;;0 fault=0;;0 denied=2;0 failed_runs=0;0 power_watts=141.0
  $ quorin_poectl status --check --unit 3
  POE UNKNOWN: unit 3 has no PoE ports, or is not there. See: quorin_poectl ports
  [3]
  $ quorin_poectl status --check --unit 9
  POE UNKNOWN: --unit: Value 9 not in range 1 to 8
  [3]
  $ quorin_poectl status --check --json
  POE UNKNOWN: status --check prints no JSON: leave out --json
  [3]
  $ quorin_poectl status --check --socket /nowhere
  POE CRITICAL: no daemon answers at /nowhere: No such file or directory
  [2]
  $ quorin_poectl status --check 2>errors >/dev/full
  [3]
  $ switchsim server down
  $ quorin_poectl status --check | sed 's/ |.*//'
  POE CRITICAL: the switch tells of no PoE ports, "night" partial (run 1)
  $ switchsim server up
  $ switchsim clock "2026-03-04 07:00:00"
  $ quorin_poectl status --check --unit 2 | sed 's/ |.*//'
  POE WARNING: 2/0/10,2/0/23 denied, the switch's clock says Wed 2026-03-04 07:00:00, this system's says Wed 2026-03-04 06:00:00: schedules go by the switch's clock. Is TZ the switch's zone?
  $ switchsim clock follow

A unit that no stack has, and one whose schedules are still there.

  $ quorin_poectl next --unit 3
  quorin_poectl: unit 3 has no PoE ports, or is not there. See: quorin_poectl ports
  [10]
  $ quorin_poectl call schedule.create '{"unit":3,"schedule":{"name":"left","scheduleType":"restart",
  > "recurrence":"daily","restartTime":"05:00","offTimeSec":5,"ifNums":[57]}}' >created
  $ quorin_poectl schedule delete left --unit 3
  deleted 2 "left" of unit 3

  $ quorin_poectl status --unit 9
  quorin_poectl: --unit: Value 9 not in range 1 to 8
  See: quorin_poectl status --help
  [2]

What a schedule has switched off, and none will switch on, is told apart.

  $ quorin_poectl schedule add fair --off 1/0/9-10 --all-day --dates 2026-03-05..2026-03-05 2>out >&2
  $ go_to "2026-03-06 09:00"
  $ quorin_poectl status | sed -n '4,6p'
  ports        24 delivering, 17 searching, 2 off by a schedule with no "on" to come, 2 off for no reason known here, 3 with a fault or denied
               1/0/9-10 off since Thu 00:00: switched off by schedule 3 "fair" (off all day), run 3, success; no schedule switches it on again
                 to bring back: quorin_poectl on 1/0/9-10
  $ quorin_poectl why 1/0/9 | sed -n '2,4p'
    Thu 2026-03-05 00:00:00  switched off by schedule 3 "fair" (off all day), run 3, success
  No schedule switches it on again.
  To switch it on: quorin_poectl on 1/0/9
  $ quorin_poectl metrics | grep for_good
  quorin_poe_ports{condition="off_for_good"} 2
  $ quorin_poectl status --json | json | grep -A1 offForGood
  {"unit":2,"poePorts":24,"powerMw":141000}],"ports":{"delivering":24,"searching":17,"offBySchedule":0,"offForGood":2,"offByRun":0,"offUnexplained":2,"fault":3},"offForGood":[
  {"unit":1,"ifNum":9,"name":"1/0/9","label":null,"since":"2026-03-05T00:00:00+01:00","runId":3,"why":"off since Thu 00:00: switched off by schedule 3 \"fair\" (off all day), run 3, success; no schedule switches it on again","command":"quorin_poectl on 1/0/9"},
