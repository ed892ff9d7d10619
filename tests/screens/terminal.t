What a terminal of 80 columns shows: lines are broken at words, and names give way.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ on_terminal() { script -qec "stty cols 80; NO_COLOR=1 $*" /dev/null </dev/null | tr -d '\r'; }
  $ switchsim set 1/0/3 off
  $ quorin_poectl schedule add "a night with a name that is long" --off 1/0/5-8 --from 22:00 \
  >   --to 06:00 --weekly mon-fri >out 2>&1
  $ quorin_poectl schedule add fair --off 1/0/9-10 --all-day --dates 2026-03-04 >out 2>&1
  $ go_to "2026-03-05 22:00:30"
  $ on_terminal quorin_poectl status | sed -n '3,$p'
  units        1 (24 PoE ports, 85.4 W), 2 (24 PoE ports, 141.0 W)
  ports        23 delivering, 15 searching, 4 off by a schedule, 2 off by a
               schedule with no "on" to come, 1 off for no reason known here, 3
               with a fault or denied
               1/0/9-10 off since Wed 00:00: switched off by schedule 2 "fair"
               (off all day), run 2, success; no schedule switches it on again
                 to bring back: quorin_poectl on 1/0/9-10
               1/0/3 no run of the last 30 days, of the newest 200, left it off;
               the switch's own CLI may have
                 to bring back: quorin_poectl on 1/0/3
               1/0/12,2/0/10,2/0/23 denied
  open runs    4 "a night with a name that is long" since Thu 22:00
  next         Fri 06:00  on (end)  1/0/5-8  "a night with a name that is long"
               Fri 22:00  off       1/0/5-8  "a night with a name that is long"
               Mon 06:00  on (end)  1/0/5-8  "a night with a name that is long"
  last 24 h    1 run: 1 running
  $ on_terminal quorin_poectl schedule list
  UNIT  ID  NAME      ACTION           PORTS     DAYS      NEXT
     1   1  a night>  off 22:00-06:00  1/0/5-8   mon-fri   Fri 06:00 on
            ! ends on its own days only (mon-fri): from Fri 22:00 the ports stay
            off until Mon 06:00
              to end it each morning: quorin_poectl schedule set 1 --twin
     1   2  fair      off all day      1/0/9-10  daily 2>  never: its dates ended>
            ! nothing switches 1/0/9-10 on again
              to switch them on after its days: quorin_poectl schedule set 2
              --twin
  2 schedules, times in the switch's zone (CET)
  $ on_terminal quorin_poectl why 1/0/9
  1/0/9 is off.
    Wed 2026-03-04 00:00:00  switched off by schedule 2 "fair" (off all day), run
                             2, success
  No schedule switches it on again.
  To switch it on: quorin_poectl on 1/0/9
  Not known here: what somebody did with the switch's own CLI, and anything before
    Tue 2026-02-03.
  times in the switch's zone (CET)
  $ on_terminal quorin_poectl ports 1/0/5-6 2/0/1
  PORT   MODE  STATE        POWER  CLASS   LIMIT  NOW       NEXT
  1/0/5  off   disabled                0  30.0 W  run 4 a>  Fri 06:00 on a night >
  1/0/6  off   disabled                0  30.0 W  run 4 a>  Fri 06:00 on a night >
  2/0/1  on    delivering  12.9 W      3  30.0 W
  shown: 0.0 W of unit 1, 12.9 W of unit 2
  times in the switch's zone (CET)
  $ on_terminal quorin_poectl schedule add x --off 1/0/19 --from 20:00 --to 07:00 --weekly mon-fri
  added 3 "x" of unit 1: off 20:00-07:00 mon-fri, 1/0/19; next on Fri 07:00, in 8
    h 59 min
  quorin_poectl: warning: 3 "x" of unit 1: its window is under way and is not
    begun now: at Fri 07:00 it switches its ports on all the same, and its first
    whole window begins Fri 20:00.
  quorin_poectl: warning: 3 "x" of unit 1: ends on its own days only (mon-fri):
    from Fri 20:00 the ports stay off until Mon 07:00
    to end it each morning: quorin_poectl schedule set 3 --twin
  $ on_terminal quorin_poectl history
  RUN  UNIT  STARTED                  TOOK  WHAT            ACTION  RESULT   PORTS
    4     1  Thu 2026-03-05 22:00:00  30 s  a night with >  off     open     4
    3     1  Wed 2026-03-04 22:00:00  8 h   a night with >  off     success  4
    2     1  Wed 2026-03-04 00:00:00  0 s   fair            off     success  2
    1     1  Tue 2026-03-03 22:00:00  8 h   a night with >  off     success  4
  4 runs, times in the switch's zone (CET)

A daemon that does not answer is waited for, and a person is told how long.

  $ daemon=$(switchsim lab show --json | sed 's/.*"daemonPid":\([0-9]*\).*/\1/')
  $ kill -STOP "$daemon"
  $ on_terminal quorin_poectl --timeout 3s ports
  waiting for the daemon: up to 1 s more (--timeout)
  quorin_poectl: no answer to sensors.all within 3 s: the daemon is busy or hangs.
    Try again, or wait longer with --timeout.
  $ kill -CONT "$daemon"

What is watched has its time, and outlives a restart of the daemon.

  $ quorin_poectl ports 1/0/5 --watch 200ms >>seen 2>told & watch=$!
  $ until_so 'grep 1/0/5 seen'
  $ sed -n '1,4p' seen
  Thu 2026-03-05 22:00:30
  PORT   MODE  STATE     CLASS   LIMIT  NOW                                     NEXT
  1/0/5  off   disabled      0  30.0 W  run 4 a night with a name that is long  Fri 06:00 on a night with a name that is long
  times in the switch's zone (CET)
  $ kill_daemon && until_so 'grep . told' && cat told
  no daemon answers at */lab/root/var/run/quorin_poed.sock: Connection refused: waiting for it (glob)
  $ switchsim lab up --speed 0 >out && : >seen && until_so 'grep 1/0/5 seen'
  $ kill $watch; sed 1q seen
  Thu 2026-03-05 22:00:30
