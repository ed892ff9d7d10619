A daemon that does not answer, and waiting for one: `quorin_poectl wait`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab

Where one answers there is nothing to wait for.

  $ quorin_poectl wait

Where none does, each command says so, and a script sees it by the exit status.

  $ quorin_poectl --socket /nowhere wait --for 100ms
  quorin_poectl: no daemon answered within 100 ms. Is quorin_poed running? Start it, or name its socket with --socket PATH.
  [6]
  $ quorin_poectl --socket /nowhere status
  quorin_poectl: no daemon answers at /nowhere: No such file or directory
  Is quorin_poed running? Start it, or name its socket with --socket PATH.
  [8]

A daemon that is begun meanwhile ends the wait.

  $ quorin_poectl --socket "$PWD/socket" wait --for 60s &
  $ ln -s "$PWD/lab/root/var/run/quorin_poed.sock" socket
  $ wait $!

One that is too slow: the switch OS does not answer it in time.

  $ switchsim fault openapiPoePsePortAdminEnableGet --delay-ms 60000 --times 1
  $ quorin_poectl --timeout 1s ports
  quorin_poectl: no answer to sensors.all within 1 s: the daemon is busy or hangs. Try again, or wait longer with --timeout.
  [6]
  $ switchsim fault clear

Times that are none.

  $ quorin_poectl wait --for soon
  quorin_poectl: --for: "soon" is no duration in ms, s, m, h or d, such as 500ms or 1m30s
  See: quorin_poectl wait --help
  [2]
