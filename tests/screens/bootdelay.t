How long ports stay off after a start: `quorin_poectl bootdelay`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

It counts from the next start on, and is told for one unit at a time.

  $ quorin_poectl bootdelay 1 --delay 2m
  boot delay of unit 1: 2 min (from the next start of the daemon on)
  $ quorin_poectl bootdelay 1 --delay 90s --stagger 5s
  boot delay of unit 1: 1 min 30 s, then one port every 5 s (from the next start of the daemon on)
  $ quorin_poectl bootdelay 1
  boot delay of unit 1: 1 min 30 s, then one port every 5 s
  $ quorin_poectl bootdelay 1 --json
  {"unit":1,"delaySec":90,"executionMode":"sequential","interPortDelaySec":5}
  $ quorin_poectl bootdelay 1 --none
  boot delay of unit 1: none (from the next start of the daemon on)

Units that are not there, and what no delay can be.

  $ quorin_poectl bootdelay 3
  quorin_poectl: unit 3 has no PoE ports, or is not there. See: quorin_poectl ports
  [10]
  $ quorin_poectl bootdelay 1 --delay 1h
  quorin_poectl: --delay takes whole seconds, 0 to 600.
  [2]
  $ quorin_poectl bootdelay 1 --none --delay 5s
  quorin_poectl: --none excludes --delay
  See: quorin_poectl bootdelay --help
  [2]
  $ quorin_poectl bootdelay 1
  boot delay of unit 1: none

Ports that nothing holds back cannot be let go one after the other.

  $ quorin_poectl bootdelay 2 --none >out
  $ quorin_poectl bootdelay 2 --stagger 5s
  quorin_poectl: without a delay there is nothing to stagger: give --delay, too
  [2]
