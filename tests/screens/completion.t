What the shell completes: `quorin_poectl completion`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab
  $ mkdir lab/root/etc/quorin_poed
  $ echo '5 - door' >lab/root/etc/quorin_poed/ports
  $ quorin_poectl --quiet schedule add "shop window" --on 1/0/13 --from 18:00 --to 21:55 >out
  $ quorin_poectl --quiet schedule add night --restart 1/0/13 --at 03:00 >out

The words that the script asks the daemon for, names of schedules and of ports.

  $ quorin_poectl completion schedules
  shop window
  night
  $ quorin_poectl completion ports | head -n 6
  1/0/1
  1/0/2
  1/0/3
  1/0/4
  1/0/5
  door

The script itself, tried as a shell would: the last word is what is completed.

  $ cat >complete <<'END'
  > . <(quorin_poectl completion bash)
  > COMP_WORDS=("$@")
  > COMP_CWORD=$(($# - 1))
  > COMP_LINE="$*"
  > COMP_POINT=${#COMP_LINE}
  > completer=$(complete -p quorin_poectl | sed 's/.*-F \([^ ]*\).*/\1/')
  > "$completer" quorin_poectl "${@: -1}" "${@: -2:1}"
  > printf '%s\n' "${COMPREPLY[@]}"
  > END
  $ bash complete quorin_poectl st
  status
  $ bash complete quorin_poectl reset --s
  --stagger
  --socket
  $ bash complete quorin_poectl reset do
  door
  $ bash complete quorin_poectl schedule show n
  night
  $ bash complete quorin_poectl --color a
  auto
  always

Without a daemon there are no words of it; other shells have to do without.

  $ quorin_poectl --socket /nowhere completion ports
  quorin_poectl: no daemon answers at /nowhere: No such file or directory
  Is quorin_poed running? Start it, or name its socket with --socket PATH.
  [8]
  $ quorin_poectl completion fish
  quorin_poectl: WHAT: fish not in {bash,ports,schedules}
  See: quorin_poectl completion --help
  [2]
