What all commands of `quorin_poectl` have in common.

  $ . "$TESTDIR/lab.sh"

What it is, what a port is, and what exit statuses say.

  $ quorin_poectl --version | tee version
  quorin_poectl ?.*.* (glob)
  $ quorin_poectl -V | cmp - version
  $ quorin_poectl --help | tail -n 4
  PORT is an ifNum (5), a name (1/0/5), a range (1/0/1-4), a label, or several with commas.
  Exit status: 0 done, 1 carried out but not as wished, 2 wrong usage, 4 the daemon answered with an error, 5 not permitted, 6 timed out, 8 no daemon answered, 10 no such port, schedule, unit or run, 130 interrupted. status --check has those of monitoring plugins: 0 fine, 1 warning, 2 critical, 3 unknown.
  With --json an error is a line of JSON on stderr, too: {"error": {"text": ..., "exitStatus": 8, "code": null}}, with the daemon's code where it answered with one.
  Example: quorin_poectl ports 1/0/1-4

Help of a command is asked for in two ways.

  $ for command in "" status "schedule set"; do
  >   quorin_poectl help $command >help && quorin_poectl $command --help | cmp - help
  > done
  $ switchsim help lab up | head -n 1
  Make a lab, or go on with one that was taken down
  $ quorin_poectl help schedule lst
  quorin_poectl: there is no command "lst". Did you mean list?
  See: quorin_poectl --help
  [2]

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
  quorin_poectl: --timeout: "5x" is no duration in ms, s, m, h or d, such as 500ms or 1m30s
  See: quorin_poectl status --help
  [2]
  $ quorin_poectl --color red status
  quorin_poectl: --color: "red" is not auto, always or never
  See: quorin_poectl status --help
  [2]

With `--json` what is printed is one document, and what goes wrong is JSON, too: a line each on
stderr, also where the command line itself is wrong.

  $ quorin_poectl stats --json
  {"error":{"text":"there is no command \"stats\". Did you mean status?\nSee: quorin_poectl --help","exitStatus":2,"code":null}}
  [2]
  $ quorin_poectl --json --socket nowhere status
  {"error":{"text":"no daemon answers at nowhere: No such file or directory\nIs quorin_poed running? Start it, or name its socket with --socket PATH.","exitStatus":8,"code":null}}
  [8]
  $ switchsim --json set 1/0/5 on
  {"error":{"text":"not expected: \"--json\".\nSee: switchsim set --help","exitStatus":2,"code":null}}
  [2]
  $ switchsim show --json --panel
  {"error":{"text":"--json excludes --panel\nSee: switchsim show --help","exitStatus":2,"code":null}}
  [2]
  $ begin_lab
  $ quorin_poectl --json schedule show 7
  {"error":{"text":"no schedule \"7\".  See: quorin_poectl schedule list","exitStatus":10,"code":null}}
  [10]
  $ quorin_poectl --json call schedule.delete '{"unit":1,"scheduleId":7}'
  {"ok":false,"error":10023}
  {"error":{"text":"error 10023 (ERR_NOT_FOUND): unit 1 has no schedule 7: it was deleted before. See: quorin_poectl schedule list","exitStatus":4,"code":10023}}
  [4]
  $ quorin_poectl --json schedule add fair --off 1/0/12 --all-day >document
  {"warning":{"text":"1 \"fair\" of unit 1: nothing switches 1/0/12 on again\n  to switch them on, too: quorin_poectl schedule add --help"}}
  $ quorin_poectl --json --quiet schedule add "$(printf 'a\nb')" --off 1/0/12 --all-day
  {"error":{"text":"\"a\\nb\" has characters or blanks that cannot be seen, or is not UTF-8.","exitStatus":2,"code":null}}
  [2]
  $ cat >documents.py <<END
  > import json, subprocess, sys
  > for line in sys.stdin:
  >     done = subprocess.run(line.split(), capture_output=True, text=True)
  >     json.loads(done.stdout)
  >     lines = [list(json.loads(each)) for each in done.stderr.splitlines()]
  >     if done.returncode != 0 or lines:
  >         print(line.strip(), done.returncode, lines)
  > END
  $ python3 documents.py <<END
  > quorin_poectl --json status
  > quorin_poectl --json ports 1/0/1-3
  > quorin_poectl --json next
  > quorin_poectl --json week
  > quorin_poectl --json why 1/0/5
  > quorin_poectl --json history
  > quorin_poectl --json schedule list
  > quorin_poectl --json schedule show fair
  > quorin_poectl --json schedule check
  > quorin_poectl --json schedule set fair --all-day
  > quorin_poectl --json schedule disable fair
  > quorin_poectl --json schedule rename fair show
  > quorin_poectl --json bootdelay 1 --delay 30s
  > quorin_poectl --json export
  > quorin_poectl --json on 1/0/1
  > quorin_poectl --json reset 1/0/1 --no-wait
  > quorin_poectl --json rehearse show --days 1
  > quorin_poectl --json schedule delete show
  > switchsim show --json
  > switchsim journal --json
  > switchsim lab show --json
  > END
  quorin_poectl --json schedule check 1 []
  quorin_poectl --json on 1/0/1 0 [['note']]
  quorin_poectl --json reset 1/0/1 --no-wait 0 [['note']]
  quorin_poectl --json rehearse show --days 1 1 [['note']]
