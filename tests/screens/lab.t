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
  $ switchsim clock follow
  $ switchsim lab show
  folder   */lab.t/lab (glob)
  time     Tue 2026-03-03 08:0?:?? CET, speed 1 (glob)
  daemon   process *, 0 schedules (glob)
  socket   */lab.t/lab/root/var/run/quorin_poed.sock (glob)
  $ switchsim lab show --json
  {"folder":"*/lab.t/lab","time":"2026-03-03T08:0?:??+01:00","speed":1,"socket":"*/lab.t/lab/root/var/run/quorin_poed.sock","daemonPid":*,"schedules":0} (glob)
  $ switchsim lab env
  export QUORIN_POED_LAB='*/lab.t/lab' (glob)
  export SWITCHSIM_STATE='*/lab.t/lab/switch.state' (glob)
  export TZ='Europe/Berlin'

To a time, and what was due is done; a jump does nothing of what was due.

  $ quorin_poectl schedule add door --restart 1/0/1 --at 12:00 --off-time 20s >out
  $ switchsim lab at 12:30
  it is Tue 2026-03-03 12:30:?? (glob)
  $ quorin_poectl history | tail -n 1
  1 run, times in the switch's zone (CET)
  $ switchsim lab jump +1d
  it is Wed 2026-03-04 12:3?:?? (glob)
  $ quorin_poectl history | tail -n 1
  1 run, times in the switch's zone (CET)
  $ switchsim lab speed 60 >out
  $ switchsim lab show | grep -o 'speed.*'
  speed 60
  $ switchsim lab speed 1 >out

Its clock goes forward only, and its folder is its own.

  $ switchsim lab at "2026-03-03 12:00"
  switchsim: in the lab it is Wed 2026-03-04 12:3?:?? already, and its clock only goes forward: `switchsim lab down --clean`, then `up --at` begins anew (glob)
  [2]
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
  $ switchsim lab up | sed 1q
  it is Wed 2026-03-04 12:3?:?? (glob)
  $ quorin_poectl schedule list | tail -n 1
  1 schedule, times in the switch's zone (CET)

Afterwards nothing is left.

  $ switchsim lab down --clean
  $ ls -d lab
  ls: cannot access 'lab': No such file or directory
  [2]
