A switch, the daemon and a clock in one folder: `switchsim lab`.

  $ . "$TESTDIR/lab.sh"

Where no lab is, none can be shown.

  $ switchsim lab show
  switchsim: no lab is in */lab.t/.local/state/switchsim-lab: `switchsim lab up` makes one (glob)
  [1]
  $ switchsim lab down
  no lab runs in */lab.t/.local/state/switchsim-lab (glob)

Then it tells its time, its daemon and its socket; `env` is for the shell that works with it.

  $ begin_lab
  $ switchsim lab show
  folder   */lab.t/lab (glob)
  time     Tue 2026-03-03 08:00:00 CET, speed 0
  daemon   process *, 0 schedules (glob)
  socket   */lab.t/lab/root/var/run/quorin_poed.sock (glob)
  $ switchsim lab show --json
  {"folder":"*/lab.t/lab","time":"2026-03-03T08:00:00+01:00","speed":0,"socket":"*/lab.t/lab/root/var/run/quorin_poed.sock","daemonPid":*,"schedules":0} (glob)
  $ switchsim lab env
  export QUORIN_POED_LAB='*/lab.t/lab' (glob)
  export SWITCHSIM_STATE='*/lab.t/lab/switch.state' (glob)
  export TZ='Europe/Berlin'

At speed 0 it stands. It goes to a time, and what is to be done until then is done, to the
millisecond: here into a restart, and to its end.

  $ switchsim lab speed 0
  it is Tue 2026-03-03 08:00:00
  $ quorin_poectl schedule add door --restart 1/0/1 --at 12:00 --off-time 1h >out
  $ switchsim lab at 12:00:01
  it is Tue 2026-03-03 12:00:01
  $ quorin_poectl ports 1/0/1
  PORT   MODE  STATE     CLASS   LIMIT  NOW         NEXT
  1/0/1  off   disabled      0  30.0 W  run 1 door  Wed 12:00 restart door
  times in the switch's zone (CET)
  $ switchsim lab at 13:30
  it is Tue 2026-03-03 13:30:00
  $ switchsim journal
       seq  time                     operation                        unit  ifNum  value  result
         1  2026-03-03 12:00:00.000  openapiPoePsePortAdminEnableSet     1      1      0       0
         2  2026-03-03 13:00:00.000  openapiPoePsePortAdminEnableSet     1      1      1       0

What somebody sets the clock over does not happen, and what he sets it back over happens again.

  $ switchsim lab jump +1d
  it is Wed 2026-03-04 13:30:00
  $ quorin_poectl history | tail -n 1
  1 run, times in the switch's zone (CET)
  $ switchsim lab jump "2026-03-04 11:59"
  it is Wed 2026-03-04 11:59:00
  $ switchsim lab at 14:00
  it is Wed 2026-03-04 14:00:00
  $ quorin_poectl history | tail -n 1
  2 runs, times in the switch's zone (CET)
  $ switchsim lab at "2026-03-03 12:00"
  switchsim: in the lab it is Wed 2026-03-04 14:00:00 already: `switchsim lab jump` sets its clock back, and does not undo what was done
  [2]
  $ switchsim lab speed 60 >out
  $ switchsim lab show | grep -o 'speed.*'
  speed 60
  $ switchsim lab speed 0 >out

Its folder is its own.

  $ switchsim lab up
  switchsim: a lab runs in */lab.t/lab already: `switchsim lab down` ends it, --dir names another folder (glob)
  [1]
  $ mkdir full
  $ touch full/file
  $ switchsim lab up --dir full
  switchsim: */lab.t/full is not empty, and no lab: name another folder with --dir (glob)
  [2]
  $ switchsim lab down --clean --dir full
  switchsim: */lab.t/full is no lab: it is left alone (glob)
  [2]

A daemon that ends by itself is told, and the lab goes on when it is up again.

  $ kill_daemon
  $ switchsim lab show
  switchsim: the lab's daemon has ended by itself; its log is */lab.t/lab/root/tmp/sw900.log. `switchsim lab up` starts it again (glob)
  [1]
  $ switchsim lab up --speed 0 | sed 1q
  it is Wed 2026-03-04 14:0?:?? (glob)
  $ quorin_poectl schedule list | tail -n 1
  1 schedule, times in the switch's zone (CET)

It can be taken down in the middle of a way, and goes on from there.

  $ (switchsim lab at +4000d >at.out 2>&1; echo "status $?" >>at.out) &
  $ until_so '[ "$(switchsim lab show | grep -c 2026-03-04)" = 0 ]'
  $ switchsim lab down
  $ until_so 'grep status at.out'
  $ tail -n 1 at.out
  status 1
  $ tail -c 27 lab/root/tmp/sw900.log
  quorin_poed exiting cleanly (no-eol)
  $ switchsim lab up --speed 0 | grep -c 2026-03-04
  0
  [1]

Afterwards nothing is left.

  $ switchsim lab down --clean
  $ ls -d lab
  ls: cannot access 'lab': No such file or directory
  [2]
