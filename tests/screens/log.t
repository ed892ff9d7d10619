The daemon's log, record by record: `quorin_poectl log`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab

All records, or those of a level and worse. (Times and places in the code are of the moment.)

  $ quorin_poectl log | head -n 1
  2026-03-03 08:00:00.000  info    [main:*] quorin_poed starting (pid=*) (glob)
  $ quorin_poectl call bootdelay.gt >out 2>&1
  [4]
  $ quorin_poectl log --level warn
  2026-03-03 08:00:00.000  warn    [refuseMethod:*] unknown RPC method: bootdelay.gt (glob)
  $ quorin_poectl log -n 1
  2026-03-03 08:00:00.000  warn    [refuseMethod:*] unknown RPC method: bootdelay.gt (glob)

How much is logged changes at once.

  $ quorin_poectl log level
  info
  $ quorin_poectl log level error
  error
  $ quorin_poectl log level
  error
  $ quorin_poectl call bootdelay.gt >out 2>&1
  [4]
  $ quorin_poectl log level info
  info
  $ quorin_poectl log --level warn | wc -l
  1

With `--follow` records are shown as they are written.

  $ quorin_poectl log --follow -n 1 >followed &
  $ until_so 'grep bootdelay followed'
  $ quorin_poectl call history.lst >out 2>&1
  [4]
  $ until_so 'grep history followed'
  $ kill $!
  $ cat followed
  2026-03-03 08:00:00.000  warn    [refuseMethod:*] unknown RPC method: bootdelay.gt (glob)
  2026-03-03 08:00:00.000  warn    [refuseMethod:*] unknown RPC method: history.lst (glob)

What is no level, and no log.

  $ quorin_poectl log level loud
  quorin_poectl: "loud" is no level: error, warn, notice, info or debug
  [2]
  $ rm lab/root/tmp/sw900.log
  $ quorin_poectl log
  quorin_poectl: */log.t/lab/root/tmp/sw900.log could not be read: No such file or directory. Has quorin_poed been started here? (glob)
  [1]

The log has the daemon's own stamps, and no other form.

  $ quorin_poectl log --utc
  quorin_poectl: log shows the daemon's own stamps: leave out --utc
  [2]
  $ quorin_poectl log --json
  {"error":{"text":"log prints no JSON: leave out --json","exitStatus":2,"code":null}}
  [2]
  $ quorin_poectl log level --json
  {"error":{"text":"log level prints no JSON: leave out --json","exitStatus":2,"code":null}}
  [2]
