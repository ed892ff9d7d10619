Scenarios: `switchsim play`.

  $ . "$TESTDIR/lab.sh"
  $ begin_switch --ports 4 --poe 4

Events in their order, each told with the switch's time; an expectation waits until it is so.

  $ cat >night.scenario <<'END'
  > clock "2026-03-02 21:59:50" --run      # shortly before the night
  > device 1/0/1 none
  > at 21:59:55 device 1/0/1 7.5
  > expect 1/0/1 delivering within 60s
  > +10s set 1/0/2 off
  > expect 1/0/2 off
  > END
  $ switchsim play night.scenario --speed 20
  2026-03-03 08:00:00  clock "2026-03-02 21:59:50" --run
  2026-03-02 21:59:5?  device 1/0/1 none (glob)
  2026-03-02 21:59:5?  at 21:59:55 device 1/0/1 7.5 (glob)
  2026-03-02 ??:??:??  expect 1/0/1 delivering within 60s (glob)
  2026-03-02 22:0?:??  +10s set 1/0/2 off (glob)
  2026-03-02 22:0?:??  expect 1/0/2 off (glob)

The first thing that is not so ends it.

  $ printf 'set 1/0/2 off\nexpect 1/0/2 delivering within 200ms\nset 1/0/2 on\n' >fails.scenario
  $ switchsim play fails.scenario --quiet
  switchsim: fails.scenario:2: expected 1/0/2 delivering within 200 ms, it is disabled
  [1]

Lines that cannot be read are all told before anything is done.

  $ printf '%s\n' 'set 1/0/2 on' 'expct 1/0/1 on' 'at 25:00 set 1/0/1 on' 'set 1/0/1' \
  >   'device "1/0/1' >bad.scenario
  $ switchsim play bad.scenario
  switchsim: nothing was done:
  bad.scenario:2: expct is no event; there are expect, set, device, priority, fault, server, clock
  bad.scenario:3: at needs a time of day, HH:MM or HH:MM:SS
  bad.scenario:4: MODE is required
  bad.scenario:5: a quote is not closed
  [2]
  $ switchsim show | sed -n '4p'
    1/0/2         2  off   disabled           -         -
  $ printf 'set 1/0/9 on\n' | switchsim play /dev/stdin
  2026-03-02 22:0?:??  set 1/0/9 on (glob)
  switchsim: /dev/stdin:1: no port is called "1/0/9": a port is an ifNum such as 5 or a name such as 1/0/5
  [1]
