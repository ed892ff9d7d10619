Seven days of ports, as runs left them and as schedules will: `quorin_poectl week`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl --quiet schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 \
  >   --weekly mon-fri >out
  $ quorin_poectl --quiet schedule add shop --on 1/0/13-14 --from 18:00 --to 21:30 >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1-3 --at 03:30 >out
  $ switchsim set 1/0/13 off

Ports of one course share a line. It begins today; what a port is now counts from now on. What was
before, no run tells.

  $ quorin_poectl week
  Tue 2026-03-03 to Mon 2026-03-09, times in the switch's zone (CET)
  # on  . off  % both  R restart  blank: not known   each character is 2 h
           Tue         Wed         Thu         Fri         Sat         Sun         Mon
           0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18
  1/0/5-8      #######....########....########....########............................########.
  1/0/13       .....#%..........#%..........#%..........#%..........#%..........#%..........#%.
  1/0/14       ######%..........#%..........#%..........#%..........#%..........#%..........#%.
  2/0/1-3      #########R###########R###########R###########R###########R###########R##########
  up to now as recorded runs left them, from now on as schedules will
  no schedule acts on 1/0/1-4,1/0/9-12,1/0/15-24,2/0/4-24
  $ LC_ALL=C.UTF-8 quorin_poectl week 1/0/13-14 | sed -n '2p;5p'
  █ on  · off  ▒ both  ↻ restart  blank: not known   each character is 2 h
  1/0/13      ·····█▒··········█▒··········█▒··········█▒··········█▒··········█▒··········█▒·

Other ports, another week: the calendar's, and that with the day of 23 hours.

  $ quorin_poectl week 1/0/5 --from mon
  Mon 2026-03-02 to Sun 2026-03-08, times in the switch's zone (CET)
  # on  . off  % both  R restart  blank: not known   each character is 2 h
         Mon         Tue         Wed         Thu         Fri         Sat         Sun
         0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18
  1/0/5                  #######....########....########....########.........................
  up to now as recorded runs left them, from now on as schedules will
  $ quorin_poectl week 2/0/1 --from 2026-03-27 | sed -n '1p;5p'
  Fri 2026-03-27 to Thu 2026-04-02, times in the switch's zone (CET)
  2/0/1  #R###########R###########R###########R###########R###########R###########R##########
  $ quorin_poectl week 2/0/1 --from 2026-03-27 --json | json
  {"from":"2026-03-27T00:00:00+01:00","until":"2026-04-03T00:00:00+02:00","ports":[
  {"unit":2,"ifNum":29,"name":"2/0/1","label":null,"isOnAtStart":true,"past":[],"firings":[
  {"at":"2026-03-27T03:30:00+01:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-28T03:30:00+01:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-29T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-30T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-31T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-04-01T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-04-02T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"}]}]}
  $ quorin_poectl --utc week 1/0/5 | sed -n '1p'
  Tue 2026-03-03 to Mon 2026-03-09, times in UTC, those of schedules in the switch's zone (CET)

Of the past is shown what recorded runs bear out: restarts and windows as they came, nothing before
the first of them. Port 13 was switched on by hand since its window's end: since then nothing is known.

  $ go_to "2026-03-05 09:00"
  $ quorin_poectl --quiet reset 1/0/6 --off-time 10m --no-wait >out
  $ quorin_poectl --quiet schedule set shop --from 17:00 >out
  $ switchsim set 1/0/13 on
  $ go_to "2026-03-05 10:30"
  $ quorin_poectl week --from tue | sed '1,3d'
                 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18
  1/0/5,1/0/7-8             ....########....########....########............................########.
  1/0/6                     ....########....#R######....########............................########.
  1/0/13                  #%..........#        ####%.........%#%.........%#%.........%#%.........%#%.
  1/0/14                  #%..........#%.........%#%.........%#%.........%#%.........%#%.........%#%.
  2/0/1-3                     R###########R###########R###########R###########R###########R##########
  up to now as recorded runs left them, from now on as schedules will
  no schedule acts on 1/0/1-4,1/0/9-12,1/0/15-24,2/0/4-24
  $ quorin_poectl week 1/0/13 --from tue --json | json | head -n 7
  {"from":"2026-03-03T00:00:00+01:00","until":"2026-03-10T00:00:00+01:00","ports":[
  {"unit":1,"ifNum":13,"name":"1/0/13","label":null,"isOnAtStart":null,"past":[
  {"at":"2026-03-03T18:00:00+01:00","isOn":true,"isRestart":false},
  {"at":"2026-03-03T21:30:00+01:00","isOn":false,"isRestart":false},
  {"at":"2026-03-04T18:00:00+01:00","isOn":true,"isRestart":false},
  {"at":"2026-03-04T21:30:00+01:00","isOn":null,"isRestart":false}],"firings":[
  {"at":"2026-03-05T17:00:00+01:00","act":"on","isEnd":false,"scheduleId":2,"scheduleName":"shop"},

Days and ports that are none.

  $ quorin_poectl week --from teatime
  quorin_poectl: --from: "teatime" is no day; times are "14:00", "tue 14:00", "yesterday", "2026-03-03 14:00" or "-2h".
  [2]
  $ quorin_poectl week 3/0/1
  quorin_poectl: no PoE port "3/0/1": unit 1 has 1/0/1 to 1/0/24, unit 2 has 2/0/1 to 2/0/24.  See: quorin_poectl ports
  [10]

A restart that goes on will switch its ports on; one to come keeps them dark as long as it says.

  $ quorin_poectl --quiet schedule add long --restart 1/0/23 --at 23:30 --off-time 3h >out
  $ go_to "2026-03-05 23:45"
  $ quorin_poectl week 1/0/23 --from 2026-03-05 | grep '^1/0/23'
  1/0/23                         R.%#########R.%#########R.%#########R.%#########R.%#########R
  $ quorin_poectl week --from 9999-12-31
  quorin_poectl: --from: "9999-12-31" is more than a year ahead
  [2]
