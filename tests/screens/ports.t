What there is, what it is called and what it delivers: `quorin_poectl ports`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2

A port is told by its number, its name or a label. Labels come from a file on the switch.

  $ mkdir lab/root/etc/quorin_poed
  $ printf '5 - door\n31 - cam-yard\n' >lab/root/etc/quorin_poed/ports
  $ quorin_poectl ports door 1/0/11-1/0/13,31
  PORT    LABEL     MODE  STATE       POWER  CLASS   LIMIT
  1/0/5   door      on    searching              0  30.0 W
  1/0/11            on    delivering  2.1 W      1  30.0 W
  1/0/12            on    denied                 5  30.0 W
  1/0/13            on    searching              0  30.0 W
  2/0/3   cam-yard  on    searching              0  30.0 W
  shown: 2.1 W of unit 1, 0.0 W of unit 2

What a port is in just now, and what comes next for it.

  $ quorin_poectl schedule add night --off 1/0/3,1/0/5 --from 22:00 --to 06:00 >out
  $ quorin_poectl ports 1/0/3-5
  PORT   LABEL  MODE  STATE        POWER  CLASS   LIMIT  NEXT
  1/0/3         on    delivering  12.9 W      3  30.0 W  Tue 22:00 off night
  1/0/4         on    delivering   3.2 W      1  30.0 W
  1/0/5  door   on    searching               0  30.0 W  Tue 22:00 off night
  shown: 16.1 W of unit 1
  times in the switch's zone (CET)
  $ go_to "2026-03-03 22:00"
  $ quorin_poectl ports 1/0/3-5
  PORT   LABEL  MODE  STATE       POWER  CLASS   LIMIT  NOW          NEXT
  1/0/3         off   disabled               0  30.0 W  run 1 night  Wed 06:00 on night
  1/0/4         on    delivering  3.2 W      1  30.0 W
  1/0/5  door   off   disabled               0  30.0 W  run 1 night  Wed 06:00 on night
  shown: 3.2 W of unit 1
  times in the switch's zone (CET)
  $ quorin_poectl ports door --json
  {"ports":[{"unit":1,"ifNum":5,"name":"1/0/5","label":"door","adminMode":"disable","detectionStatus":"disabled","powerMw":0,"currentMa":0,"voltageMv":0,"temperature":38,"powerClass":"0","priority":"low","powerLimitMw":30000,"openRunId":1,"next":{"at":"2026-03-04T06:00:00+01:00","act":"on","scheduleId":1,"scheduleName":"night"}}],"units":[{"unit":1,"powerMw":0}]}

With `--watch` it goes on until it is interrupted.

  $ quorin_poectl ports 1/0/4 --watch 100ms | sed -n '1,3p;3q'
  Tue 2026-03-03 22:00:00
  PORT   MODE  STATE       POWER  CLASS   LIMIT
  1/0/4  on    delivering  3.2 W      1  30.0 W

The lines of such a file, to write it anew.

  $ quorin_poectl ports --names | sed -n '1p;6p;32p'
  # ifNum name [label]
  5 1/0/5 door
  35 2/0/7

A name that the file spells wrongly is warned of, and the other lines count.

  $ printf 'five - door\n5 - window\n33 - twice\n34 - twice\n' >lab/root/etc/quorin_poed/ports
  $ quorin_poectl ports window
  quorin_poectl: warning: */ports.t/lab/root/etc/quorin_poed/ports, line 1: "five" is no ifNum; lines are: ifNum name [label] (glob)
  PORT   LABEL   MODE  STATE     CLASS   LIMIT  NOW          NEXT
  1/0/5  window  off   disabled      0  30.0 W  run 1 night  Wed 06:00 on night
  times in the switch's zone (CET)

Ports that are not there, and words that are no ports. Labels that are much the same are offered.

  $ quorin_poectl --quiet ports windo
  quorin_poectl: no PoE port "windo": unit 1 has 1/0/1 to 1/0/24, unit 2 has 2/0/1 to 2/0/24. Did you mean window?  See: quorin_poectl ports
  [10]
  $ quorin_poectl --quiet ports 1/0/28
  quorin_poectl: no PoE port "1/0/28": unit 1 has 1/0/1 to 1/0/24.  See: quorin_poectl ports
  [10]
  $ quorin_poectl --quiet ports 1/0/1 --unit 2
  quorin_poectl: no PoE port "1/0/1": unit 2 has 2/0/1 to 2/0/24.  See: quorin_poectl ports
  [10]
  $ quorin_poectl --quiet ports 1/0/4-1/0/1
  quorin_poectl: "1/0/4-1/0/1" is no range: its end is before its beginning.
  [2]
  $ quorin_poectl --quiet ports 1/0/1 --watch 0s
  quorin_poectl: --watch takes 100ms or more
  [2]
  $ quorin_poectl --quiet ports twice
  quorin_poectl: the label "twice" is on 2/0/5-6: name the port.
  [2]

While the switch OS does not answer, there are no ports to be seen.

  $ switchsim server down
  $ quorin_poectl --quiet ports 1/0/1
  quorin_poectl: no PoE port "1/0/1": no unit has PoE ports.  See: quorin_poectl ports
  [10]
  $ switchsim server up
