One request as the socket takes it, and the answer: `quorin_poectl call`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab

The answer is what the daemon sent, as it stands.

  $ quorin_poectl call bootdelay.get '{"unit":1}'
  {"ok":true,"result":{"delaySec":0,"executionMode":"simultaneous","interPortDelaySec":0}}
  $ quorin_poectl call schedule.list '{"unit":1}'
  {"ok":true,"result":{"schedules":[]}}
  $ quorin_poectl call schedule.create '{"unit":1,"schedule":{"name":"night",
  > "scheduleType":"restart","recurrence":"daily","restartTime":"03:30","offTimeSec":5,
  > "ifNums":[1]}}'
  {"ok":true,"result":{"scheduleId":1,"name":"night","scheduleType":"restart","recurrence":"daily","ifNums":[1],"restartTime":"03:30","offTimeSec":5,"executionMode":"simultaneous","interPortDelaySec":0,"enabled":true,"status":"active"}}

What the daemon refuses is told in its words and in ours.

  $ quorin_poectl call schedule.get '{"unit":1,"scheduleId":9}'
  {"ok":false,"error":10023}
  quorin_poectl: error 10023 (ERR_NOT_FOUND): unit 1 has no schedule 9. See: quorin_poectl schedule list
  [4]
  $ quorin_poectl call bootdelay.get
  {"ok":false,"error":10003}
  quorin_poectl: error 10003 (ERR_INVALID_ARG): the daemon refuses bootdelay.get: a parameter is missing, of the wrong type or out of range
  [4]
  $ quorin_poectl call bootdelay.gt
  {"ok":false,"error":17002}
  quorin_poectl: error 17002 (ERR_UNSUPPORTED): this daemon has no method bootdelay.gt: it is older or newer than this client. Did you mean bootdelay.get?
  [4]

A key that the method does not know is held back: the daemon would ignore it, and do something else.

  $ quorin_poectl call manual.reset '{"unit":1,"request":{"ifNum":[1]}}'
  quorin_poectl: manual.reset: ifNum? did you mean ifNums (--raw sends it anyway)
  [2]
  $ quorin_poectl call bootdelay.get '{"unit":1,"colour":"red"}' --raw
  {"ok":true,"result":{"delaySec":0,"executionMode":"simultaneous","interPortDelaySec":0}}

What is no request.

  $ quorin_poectl call bootdelay.get 'unit=1'
  quorin_poectl: PARAMS-JSON is not a JSON document: unit=1
  [2]
