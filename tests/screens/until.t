Ports off, or on, until a time: `quorin_poectl off --until`, `on --until`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ switchsim set 1/0/6 off

Nothing begins where time stands.

  $ quorin_poectl off 1/0/5 --until 09:00
  quorin_poectl: the lab stands, and the ports with it: switchsim lab at TIME, or switchsim lab speed 1
  [6]

A schedule of one day for each unit does it, from the next minute on; it is seen to begin.

  $ live_from() { switchsim lab speed 0 && go_to "$1" && switchsim lab speed 8; } >out
  $ live_from "2026-03-03 08:00:32"
  $ quorin_poectl off 1/0/5-6 2/0/1 --until 09:00
  1/0/6 is off: left alone
  added 1 "off until 2026-03-03 09:00" of unit 1: 1/0/5 off at Tue 08:01, in * s (glob)
  added 2 "off until 2026-03-03 09:00" of unit 2: 2/0/1 off at Tue 08:01, in * s (glob)
  1/0/5 off (run 1) until Tue 09:00
  2/0/1 off (run 2) until Tue 09:00
  $ quorin_poectl off 1/0/5-6 --until 10:00
  1/0/5-6 are off: left alone

Over midnight a twin ends it. What is kept on ends a minute after midnight, and says so.

  $ live_from "2026-03-03 08:09:32"
  $ quorin_poectl on 1/0/6 --until 24:00
  until 00:01: nothing ends at 00:00 what it keeps on
  added 3 "on until 2026-03-04 00:01" of unit 1: 1/0/6 on at Tue 08:10, in * s (glob)
  1/0/6 on (run 3) until Wed 00:01

For programs. A name that is taken gets a number.

  $ live_from "2026-03-03 23:59:32"
  $ quorin_poectl off 1/0/8 --until 07:00 --json 2>said | json
  {"holds":[
  {"schedule":{"unit":1,"scheduleId":5,"name":"off until 2026-03-04 07:00","scheduleType":"power_off","startDate":"2026-03-04","endDate":"2026-03-04","recurrence":"daily","recurrenceDays":null,"ifNums":[8],"portNames":["1/0/8"],"startTime":"00:00","endTime":"07:00","allDay":false,"restartTime":null,"offTimeSec":null,"executionMode":"simultaneous","interPortDelaySec":0,"enabled":true,"status":"active","next":{"at":"2026-03-04T07:00:00+01:00","act":"on"},"never":null},"twin":null,"runId":5,"ports":[
  {"unit":1,"ifNum":8,"name":"1/0/8","label":null,"adminMode":"disable"}]}]}
  $ live_from "2026-03-04 00:10:32"
  $ quorin_poectl --quiet off 1/0/9 --until 07:00
  1/0/9 off (run 6) until Wed 07:00
  $ quorin_poectl schedule list | grep -c 'off until 2026-03-04 07:00 (2)'
  1

Those whose last date is past can go; while its twin's is not, a schedule stays.

  $ quorin_poectl schedule delete --ended
  deleted 1 "off until 2026-03-03 09:00" of unit 1
  deleted 2 "off until 2026-03-03 09:00" of unit 2
  $ quorin_poectl schedule delete --ended --json
  {"note":{"text":"there is no schedule whose dates are over"}}
  {"changes":[]}
  $ quorin_poectl schedule delete --ended 3
  quorin_poectl: which schedules? Name some, or those whose dates are over with --ended
  See: quorin_poectl schedule delete --help
  [2]

A minute that never comes for the daemon: its end would act all the same, so the schedule goes.

  $ live_from "2026-03-04 08:00:30" && switchsim lab speed 1 >out
  $ quorin_poectl off 1/0/10 --until 23:00 >late 2>&1 & off=$!
  $ until_so 'grep added late' && switchsim lab jump +5m >out && wait $off
  [1]
  $ cat late
  added 7 "off until 2026-03-04 23:00" of unit 1: 1/0/10 off at Wed 08:01, in * s (glob)
  7 "off until 2026-03-04 23:00" of unit 1 did not begin: the daemon had no time for its minute. It is deleted, and its ports 1/0/10 are as they were.

A port that the switch does not switch, and an interruption: what is stored stays.

  $ live_from "2026-03-04 08:10:32"
  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/12 --result -1
  $ quorin_poectl --quiet off 1/0/11-12 --until 23:00
  1/0/11 off (run 7) until Wed 23:00
  1/0/12 is not off. See: quorin_poectl history 7
  [1]
  $ switchsim lab speed 1 >out
  $ quorin_poectl off 1/0/13 --until 23:30 >ended 2>&1 & on=$!
  $ until_so 'grep added ended' && kill -INT $on; wait $on
  [130]
  $ tail -n 1 ended
  quorin_poectl: interrupted: it is stored, and begins at *. To undo it: quorin_poectl schedule delete 9, and if it has begun quorin_poectl on 1/0/13 (glob)

What cannot be.

  $ live_from "2026-03-28 22:00" && switchsim lab speed 1 >out
  $ quorin_poectl off 1/0/7
  quorin_poectl: --until is required
  See: quorin_poectl off --help
  [2]
  $ quorin_poectl off 1/0/7 --until 25:00
  quorin_poectl: "25:00" is not a time of day (00:00 to 23:59): the daemon would store it and never fire.
  [2]
  $ quorin_poectl off 1/0/7 --until 02:30
  quorin_poectl: there is no 02:30 in that night: the clock goes forward
  [2]
  $ quorin_poectl off 1/0/7 --until 22:01
  quorin_poectl: it can begin at 22:01 at the earliest: give a later time
  [2]
  $ quorin_poectl on 1/0/7 --until 23:00 --no-wait
  quorin_poectl: --no-wait excludes --until
  See: quorin_poectl on --help
  [2]
  $ quorin_poectl on 1/0/7 --until ""
  quorin_poectl: "" is not a time of day (00:00 to 23:59): the daemon would store it and never fire.
  [2]

In the night in which an hour comes twice its second one is the end. A clock of the switch that is a
moment behind the daemon's lets the daemon begin a minute later.

  $ switchsim lab speed 0 >out && switchsim lab jump "2026-10-25 01:59:00" >out
  $ switchsim lab at +50m30s >out && switchsim lab speed 20
  it is Sun 2026-10-25 02:49:30 CEST
  $ quorin_poectl --quiet off 1/0/7 --until 02:30
  1/0/7 off (run 9) until Sun 02:30
  $ switchsim clock follow --behind-ms 1500
  $ quorin_poectl --quiet off 1/0/8 --until 07:00
  1/0/8 off (run 10) until Sun 07:00
