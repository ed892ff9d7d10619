What all commands of `quorin_poectl` have in common.

  $ . "$TESTDIR/lab.sh"

What it is, what a port is, and what exit statuses say.

  $ quorin_poectl --version
  quorin_poectl ?.*.* (glob)
  $ quorin_poectl --help | tail -n 3
  PORT is an ifNum (5), a name (1/0/5), a range (1/0/1-4), a label, or several with commas.
  Exit status: 0 done, 1 carried out but not as wished, 2 wrong usage, 4 the daemon answered with an error, 5 not permitted, 6 timed out, 8 no daemon answered, 10 no such port, schedule, unit or run, 130 interrupted. status --check has those of monitoring plugins: 0 fine, 1 warning, 2 critical, 3 unknown.
  Example: quorin_poectl ports 1/0/1-4

Words that are none, with the nearest that are.

  $ quorin_poectl stats
  quorin_poectl: there is no command "stats". Did you mean status?
  See: quorin_poectl --help
  [2]
  $ quorin_poectl schedule lst
  quorin_poectl: there is no command "lst". Did you mean list?
  See: quorin_poectl schedule --help
  [2]
  $ quorin_poectl status --jsn
  quorin_poectl: not expected: "--jsn". Did you mean --json?
  See: quorin_poectl status --help
  [2]
  $ quorin_poectl --timeout 5x status
  quorin_poectl: --timeout: "5x" is no duration such as 500ms, 10s or 2m
  See: quorin_poectl status --help
  [2]
  $ quorin_poectl --color red status
  quorin_poectl: --color: "red" is not auto, always or never
  See: quorin_poectl status --help
  [2]
