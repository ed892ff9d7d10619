What happens to a switch: `switchsim device`, `fault`, `server`, `clock` and `journal`.

  $ . "$TESTDIR/lab.sh"
  $ begin_switch --ports 4 --poe 3

Devices come and go. A camera, a phone and an access point start first; watts are drawn at once.

  $ switchsim device 1/0/1 none
  $ switchsim device 1/0/2 12.5
  $ switchsim device 3 ap
  $ until_so 'switchsim show | grep "1/0/2 .*delivering"'
  $ switchsim show | sed -n '3,4p'
    1/0/1         1  on    searching          -         -
    1/0/2         2  on    delivering    12.5 W    12.5 W
  $ switchsim show | grep -o 'ap$'
  ap

Operations fail or are slow, for all ports or for one, for good or for some calls.

  $ switchsim fault openapiPoePsePortAdminEnableSet --port 1/0/2 --result -1
  $ switchsim fault openapiClockGet --delay-ms 20 --times 3
  $ switchsim fault list
  openapiPoePsePortAdminEnableSet, ifNum 2, result -1, until cleared
  openapiClockGet, delayed by 20 ms, times left 3
  $ switchsim fault clear
  $ switchsim fault list

The switch OS answers or not; its clock stands still, runs on or cannot be read.

  $ switchsim server down
  $ switchsim show | tail -n 2
  server: down
  clock:  frozen 2026-03-03 08:00:00
  $ switchsim server up
  $ switchsim clock fail
  $ switchsim show | tail -n 1
  clock:  fail 
  $ switchsim clock "2026-03-29 01:00:00" --run
  $ switchsim show | tail -n 1
  clock:  running 2026-03-29 01:0?:?? (glob)

What was done to ports, in its order, with the moment.

  $ switchsim set 1/0/2 off
  $ switchsim set 1/0/2 on
  $ switchsim journal
       seq  time                     operation                        unit  ifNum  value  result
         1  ????-??-?? ??:??:??.???  cliSet                              1      2      0       0 (glob)
         2  ????-??-?? ??:??:??.???  cliSet                              1      2      1       0 (glob)
  $ switchsim journal --since 1 --json | json
  {"entries":[
  {"seq":2,"timeMs":*,"monoMs":*,"op":"cliSet","unit":1,"ifNum":2,"value":1,"result":0}]} (glob)

What cannot be done.

  $ switchsim device 1/0/4 5
  switchsim: port 1/0/4 has no PoE
  [1]
  $ switchsim device 1/0/1 toaster
  switchsim: "toaster" is no device: it is camera, phone, ap, a number of watts (more than 0, at most 90), or none
  See: switchsim device --help
  [2]
  $ switchsim fault openapiClockGet --result 1 --port 1/0/1
  switchsim: openapiClockGet is about no port: leave out --port
  See: switchsim fault --help
  [2]
  $ switchsim fault openapiClockGt --result 1 2>&1 | head -n 2
  switchsim: no operation is called openapiClockGt; there are
    l7proc_crashlog_register
  $ switchsim clock "2026-02-30 10:00:00"
  switchsim: no such time: 2026-02-30 10:00:00
  See: switchsim clock --help
  [2]
  $ switchsim shw
  switchsim: there is no command "shw". Did you mean show?
  See: switchsim --help
  [2]
  $ switchsim lab dwn
  switchsim: there is no command "dwn". Did you mean down?
  See: switchsim lab --help
  [2]
  $ switchsim fault
  switchsim: OPERATION is required
  See: switchsim fault --help
  [2]
