Seven days of ports as schedules make them: `quorin_poectl week`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl --quiet schedule add night --off 1/0/5-8 --from 22:00 --to 06:00 \
  >   --weekly mon-fri >out
  $ quorin_poectl --quiet schedule add shop --on 1/0/13-14 --from 18:00 --to 21:30 >out
  $ quorin_poectl --quiet schedule add cameras --restart 2/0/1-3 --at 03:30 >out
  $ switchsim set 1/0/13 off

Ports of one course share a line. It begins today; what a port is now counts from now on.

  $ quorin_poectl week
  Tue 2026-03-03 to Mon 2026-03-09, times in the switch's zone (CET)
  # on  . off  % both  R restart  blank: not known   each character is 2 h
           Tue         Wed         Thu         Fri         Sat         Sun         Mon
           0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18
  1/0/5-8  ...########....########....########....########............................########.
  1/0/13   .........#%..........#%..........#%..........#%..........#%..........#%..........#%.
  1/0/14   ....######%..........#%..........#%..........#%..........#%..........#%..........#%.
  2/0/1-3  #R###########R###########R###########R###########R###########R###########R##########
  up to now as schedules would have it, from now on from the modes that the ports have
  no schedule acts on 1/0/1-4,1/0/9-12,1/0/15-24,2/0/4-24
  $ LC_ALL=C.UTF-8 quorin_poectl week 1/0/13-14 | sed -n '2p;5p'
  █ on  · off  ▒ both  ↻ restart  blank: not known   each character is 2 h
  1/0/13  ·········█▒··········█▒··········█▒··········█▒··········█▒··········█▒··········█▒·

Other ports, another week: the calendar's, and that with the day of 23 hours.

  $ quorin_poectl week 1/0/5 --from mon
  Mon 2026-03-02 to Sun 2026-03-08, times in the switch's zone (CET)
  # on  . off  % both  R restart  blank: not known   each character is 2 h
         Mon         Tue         Wed         Thu         Fri         Sat         Sun
         0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18 0  6  12 18
  1/0/5  ...########....########....########....########....########.........................
  up to now as schedules would have it, from now on from the modes that the ports have
  $ quorin_poectl week 2/0/1 --from 2026-03-27 | sed -n '1p;5p'
  Fri 2026-03-27 to Thu 2026-04-02, times in the switch's zone (CET)
  2/0/1  #R###########R###########R###########R###########R###########R###########R##########
  $ quorin_poectl week 2/0/1 --from 2026-03-27 --json | json
  {"from":"2026-03-27T00:00:00+01:00","until":"2026-04-03T00:00:00+02:00","ports":[
  {"unit":2,"ifNum":29,"name":"2/0/1","label":null,"isOnAtStart":true,"firings":[
  {"at":"2026-03-27T03:30:00+01:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-28T03:30:00+01:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-29T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-30T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-03-31T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-04-01T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"},
  {"at":"2026-04-02T03:30:00+02:00","act":"restart","isEnd":false,"scheduleId":3,"scheduleName":"cameras"}]}]}
  $ quorin_poectl --utc week 1/0/5 | sed -n '1p'
  Tue 2026-03-03 to Mon 2026-03-09, times in UTC, those of schedules in the switch's zone (CET)

Days and ports that are none.

  $ quorin_poectl week --from teatime
  quorin_poectl: --from: "teatime" is no day; times are "14:00", "tue 14:00", "yesterday", "2026-03-03 14:00" or "-2h".
  [2]
  $ quorin_poectl week 3/0/1
  quorin_poectl: no PoE port "3/0/1": unit 1 has 1/0/1 to 1/0/24, unit 2 has 2/0/1 to 2/0/24.  See: quorin_poectl ports
  [10]
