Why a port has no power, or had none: `quorin_poectl why`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab
  $ quorin_poectl schedule add night --off 1/0/3-4 --from 22:00 --to 05:45 >out
  $ quorin_poectl schedule add early --restart 1/0/6 --at 05:00 --off-time 90s >out

A port to which nothing happened, and one whose device asks for too much.

  $ quorin_poectl why 1/0/1
  1/0/1 is on, it delivers 6.4 W.
  Not known here: what somebody did with the switch's own CLI, and anything before Sun 2026-02-01.
  times in the switch's zone (CET)
  $ quorin_poectl why 1/0/12 | head -n 1
  1/0/12 is on, but power is denied: limit 30.0 W.

A port that somebody switched off by the switch's own CLI: no run explains it.

  $ switchsim set 1/0/7 off
  $ quorin_poectl why 1/0/7 | sed -n '1,3p'
  1/0/7 is off.
  No run that is known left it off: somebody did so with the switch's own CLI, or the end of a window that had no run, or it was longer ago.
  To switch it on: quorin_poectl on 1/0/7

In the night the window is what keeps a port dark. Its end is what brings it back.

  $ go_to "2026-03-03 23:00"
  $ quorin_poectl why 1/0/3
  1/0/3 is off.
    Tue 2026-03-03 22:00:00  switched off by schedule 1 "night" (off 22:00-05:45), run 1, still open
    Wed 2026-03-04 05:45:00  will be switched on by the end of that window
  Not known here: what somebody did with the switch's own CLI, and anything before Sun 2026-02-01.
  times in the switch's zone (CET)
  $ quorin_poectl why 1/0/3 --json | json
  {"unit":1,"ifNum":3,"name":"1/0/3","label":null,"at":"2026-03-03T23:00:00+01:00","state":"off","sensor":{"adminMode":"disable","detectionStatus":"disabled","powerMw":0,"powerLimitMw":30000},"dark":{"from":"2026-03-03T22:00:00+01:00","to":null,"expectedTo":"2026-03-04T05:45:00+01:00"},"events":[
  {"at":"2026-03-03T22:00:00+01:00","effect":"off","cause":"windowStart","runId":1,"triggered":"scheduled","scheduleId":1,"scheduleName":"night","runStatus":"running","runErrorMessage":null,"portStatus":"success","portErrorMessage":null,"cutOff":false}],"knownSince":"2026-02-01T23:00:00+01:00"}

The next morning tells of the night, whose end failed for one of the ports.

  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/4 --result -1
  $ go_to "2026-03-04 08:00"
  $ quorin_poectl why 1/0/4
  1/0/4 is off.
    Tue 2026-03-03 22:00:00  switched off by schedule 1 "night" (off 22:00-05:45), run 1, partial: restore failed
    Wed 2026-03-04 05:45:00  not switched by the end of that window: restore failed
  To switch it on: quorin_poectl on 1/0/4
  Not known here: what somebody did with the switch's own CLI, and anything before Mon 2026-02-02.
  times in the switch's zone (CET)
  $ quorin_poectl why 1/0/6 | sed -n '1,3p'
  1/0/6 is on, it delivers 25.1 W.
    Wed 2026-03-04 05:00:00  switched off by schedule 2 "early" (restart 05:00), run 2, success
    Wed 2026-03-04 05:01:30  switched on again by that run (dark for 1 min 30 s)

It can be asked how a port was at a moment: in the night, or before it.

  $ quorin_poectl why 1/0/3 --at 03:00
  1/0/3 was off on Wed 2026-03-04 03:00:00.
    Tue 2026-03-03 22:00:00  switched off by schedule 1 "night" (off 22:00-05:45), run 1, partial
    Wed 2026-03-04 05:45:00  switched on by the end of that window (dark for 7 h 45 min)
  Not known here: what somebody did with the switch's own CLI, and anything before Mon 2026-02-02.
  times in the switch's zone (CET)
  $ quorin_poectl why 1/0/3 --at "tue 21:00"
  Nothing is known of 1/0/3 on Tue 2026-03-03 21:00:00: no run switched it before.
  Not known here: what somebody did with the switch's own CLI, and anything before Mon 2026-02-02.
  times in the switch's zone (CET)

One port at a time, and a time that has been.

  $ quorin_poectl why
  quorin_poectl: PORT is required
  See: quorin_poectl why --help
  [2]
  $ quorin_poectl why 1/0/3-4
  quorin_poectl: why tells of one port; "1/0/3-4" are 2 ports
  [2]
  $ quorin_poectl why 1/0/3 --at "tomorrow"
  quorin_poectl: "tomorrow" is still to come. See: quorin_poectl next
  [2]
  $ quorin_poectl why 1/0/3 --at teatime
  quorin_poectl: "teatime" is no time: times are "14:00", "tue 14:00", "yesterday", "2026-03-03 14:00" or "-2h"
  [2]

A schedule that is made or enabled in mid-window acts at the window's end, and nothing is recorded
of it: so the end is supposed, and `status` says the same.

  $ quorin_poectl schedule add enabled --on 1/0/9 --from 22:00 --to 06:00 --disabled >out
  $ go_to "2026-03-04 23:00"
  $ quorin_poectl schedule add made --on 1/0/10 --from 22:00 --to 06:00 >out
  quorin_poectl: warning: 4 "made" of unit 1: its window is under way and is not begun now: at Thu 06:00 it switches its ports off all the same, and its first whole window begins Thu 22:00.
  $ quorin_poectl schedule enable enabled >out
  quorin_poectl: warning: 3 "enabled" of unit 1: its window is under way and is not begun now: at Thu 06:00 it switches its ports off all the same, and its first whole window begins Thu 22:00.
  $ go_to "2026-03-05 06:05"
  $ quorin_poectl why 1/0/9
  1/0/9 is off.
    Thu 2026-03-05 06:00:00  perhaps switched off by the end of the window of schedule 3 "enabled" (on 22:00-06:00), not recorded: that window had no run
    Thu 2026-03-05 22:00:00  will be switched on by schedule 3 "enabled" (on 22:00-06:00)
  Or somebody switched it off with the switch's own CLI.
  Not known here: what somebody did with the switch's own CLI, and anything before Tue 2026-02-03.
  times in the switch's zone (CET)
  $ quorin_poectl why 1/0/10 | sed -n '2,3p'
    Thu 2026-03-05 06:00:00  perhaps switched off by the end of the window of schedule 4 "made" (on 22:00-06:00), not recorded: that window had no run
    Thu 2026-03-05 22:00:00  will be switched on by schedule 4 "made" (on 22:00-06:00)
  $ quorin_poectl status | sed -n '4,5p'
  ports        11 delivering, 8 searching, 2 off by a schedule, 2 off for no reason known here, 1 with a fault or denied
               1/0/7 no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may have

A restart of the daemon closes a run; whether its window ended is not recorded. Of a schedule that
is gone not even when.

  $ quorin_poectl schedule add cut --on 1/0/11 --from 07:00 --to 09:00 >out
  $ go_to "2026-03-05 08:00"
  $ kill_daemon
  $ switchsim lab up --speed 0 >out
  $ go_to "2026-03-05 10:00"
  $ quorin_poectl why 1/0/11 | sed -n '1,4p'
  1/0/11 is off.
    Thu 2026-03-05 07:00:00  before: switched on by schedule 5 "cut" (on 07:00-09:00), run 5, cut off by a restart of the daemon
    Thu 2026-03-05 08:00:00  perhaps switched off then or later by the end of that window, not recorded: run 5 was closed before
    Fri 2026-03-06 07:00:00  will be switched on by schedule 5 "cut" (on 07:00-09:00)
  $ quorin_poectl schedule delete cut -y >out
  $ quorin_poectl why 1/0/11 --at -30m | sed -n '1,4p'
  1/0/11 was perhaps off on Thu 2026-03-05 09:30:00.
    Thu 2026-03-05 07:00:00  before: switched on by schedule 5 "cut" (now gone), run 5, cut off by a restart of the daemon
    Thu 2026-03-05 08:00:00  perhaps switched off then or later by the end of that window, not recorded: run 5 was closed before
  Not known here: what somebody did with the switch's own CLI, and anything before Tue 2026-02-03.

A manual reset without off time leaves a port as it was, each in its turn, and the cause before it
stands.

  $ quorin_poectl call manual.reset '{"unit":1,"request":{"ifNums":[11,13,14,15],
  > "executionMode":"sequential","interPortDelaySec":8}}' >out
  $ go_to "2026-03-05 10:01"
  $ quorin_poectl why 1/0/15 | sed -n '1,2p'
  1/0/15 is on, but finds no device that takes power.
    Thu 2026-03-05 10:00:00  off and on again in a moment, if it was on, by a manual reset, run 6, success
  $ quorin_poectl why 1/0/11 | sed -n '1,5p'
  1/0/11 is off.
    Thu 2026-03-05 07:00:00  before: switched on by schedule 5 "cut" (now gone), run 5, cut off by a restart of the daemon
    Thu 2026-03-05 08:00:00  perhaps switched off then or later by the end of that window, not recorded: run 5 was closed before
    Thu 2026-03-05 10:00:00  off and on again in a moment, if it was on, by a manual reset, run 6, success
  Or somebody switched it off with the switch's own CLI.
