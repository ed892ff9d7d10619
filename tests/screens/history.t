What was done, run by run, and how it went: `quorin_poectl history`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

While nothing was done, there is nothing to tell.

  $ quorin_poectl history
  no runs

A night with a window, a restart of which a port fails, and one that fails altogether.

  $ quorin_poectl schedule add night --off 1/0/3-4 --from 22:00 --to 05:45 >out
  $ quorin_poectl schedule add cameras --restart 2/0/1-3 --at 03:30 --off-time 20s >out
  $ quorin_poectl schedule add door --restart 1/0/6 --at 04:00 --off-time 20s >out
  $ switchsim fault openapiPoePsePortAdminEnableSet --port 2/0/2 --result -1
  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/6 --result -1
  $ go_to "2026-03-03 23:30"
  $ quorin_poectl history
  RUN  UNIT  STARTED                  TOOK        WHAT   ACTION  RESULT  PORTS
    1     1  Tue 2026-03-03 22:00:00  1 h 30 min  night  off     open    2
  1 run, times in the switch's zone (CET)
  $ go_to "2026-03-04 08:00"
  $ quorin_poectl history
  RUN  UNIT  STARTED                  TOOK        WHAT     ACTION   RESULT   PORTS
    3     1  Wed 2026-03-04 04:00:00  20 s        door     restart  failed   0 of 1: 1 failed
    2     2  Wed 2026-03-04 03:30:00  20 s        cameras  restart  partial  2 of 3: 1 failed
    1     1  Tue 2026-03-03 22:00:00  7 h 45 min  night    off      success  2
  3 runs, times in the switch's zone (CET)

Those of one port; those that failed since a time.

  $ quorin_poectl history --port 1/0/4
  PORT   RUN  STARTED                  TOOK        WHAT   ACTION  PORT'S RESULT
  1/0/4    1  Tue 2026-03-03 22:00:00  7 h 45 min  night  off     success
  1 run, times in the switch's zone (CET)
  $ quorin_poectl history --failed --since 03:45 | grep -o 'door .*'
  door  restart  failed  0 of 1: 1 failed

One run, port by port.

  $ quorin_poectl history 2
  run      2 of unit 2
  what     cameras (schedule 2), restart
  started  Wed 2026-03-04 03:30:00
  took     20 s
  result   partial
  ports    2 of 3: 1 failed
  
  PORT   RESULT   WHY
  2/0/1  success
  2/0/2  failed   power_off failed
  2/0/3  success
  times in the switch's zone (CET)

The same for programs.

  $ quorin_poectl history --unit 2 --json | json
  {"runs":[
  {"runId":2,"triggered":"scheduled","scheduleId":2,"scheduleName":"cameras","scheduleType":"restart","unit":2,"status":"partial","endedByTwin":false,"executionMode":"simultaneous","startedAt":"2026-03-04T03:30:00+01:00","completedAt":"2026-03-04T03:30:20+01:00","portCount":3,"successPortCount":2,"failedPortCount":1,"skippedPortCount":0,"interPortDelaySec":null,"errorMessage":null,"allDay":null,"portSteps":null}],"total":1}
  $ quorin_poectl history 2 --json | json
  {"runId":2,"triggered":"scheduled","scheduleId":2,"scheduleName":"cameras","scheduleType":"restart","unit":2,"status":"partial","endedByTwin":false,"executionMode":"simultaneous","startedAt":"2026-03-04T03:30:00+01:00","completedAt":"2026-03-04T03:30:20+01:00","portCount":3,"successPortCount":2,"failedPortCount":1,"skippedPortCount":0,"interPortDelaySec":0,"errorMessage":null,"allDay":null,"portSteps":[
  {"ifNum":29,"name":"2/0/1","label":null,"status":"success","errorMessage":null},
  {"ifNum":30,"name":"2/0/2","label":null,"status":"failed","errorMessage":"power_off failed"},
  {"ifNum":31,"name":"2/0/3","label":null,"status":"success","errorMessage":null}]}

A night whose twin ends it is none that failed, whatever the daemon has to call it.

  $ quorin_poectl schedule add friday --off 1/0/9 --from 22:00 --to 05:00 --weekly fri --twin >out
  $ go_to "2026-03-08 08:00"
  $ quorin_poectl history --port 1/0/9 --since fri | cut -c1-52
  PORT   RUN  STARTED                  TOOK     WHAT  
  1/0/9   12  Sat 2026-03-07 00:00:00  5 h      friday
  1/0/9   11  Fri 2026-03-06 22:00:00  1 d 1 h  friday
  2 runs, times in the switch's zone (CET)
  $ quorin_poectl history --since "fri 12:00" | grep friday
   12     1  Sat 2026-03-07 00:00:00  5 h         friday (morning after)  off      success        1
   11     1  Fri 2026-03-06 22:00:00  1 d 1 h     friday                  off      ended by twin  1
  $ quorin_poectl history --failed --since "fri 12:00" | grep friday
  [1]
  $ quorin_poectl history --json --since "fri 12:00" | json | grep -o '"status":.*"endedByTwin":true'
  "status":"failed","endedByTwin":true

Runs that are not there, and what is no run or no time.

  $ quorin_poectl history 77
  quorin_poectl: no run 77 (runs are kept for 30 days). See: quorin_poectl history
  [10]
  $ quorin_poectl history night
  quorin_poectl: "night" is not the number of a run
  [2]
  $ quorin_poectl history --since teatime
  quorin_poectl: "teatime" is no time: times are "14:00", "tue 14:00", "yesterday", "2026-03-03 14:00" or "-2h"
  [2]
