Figures for Prometheus: `quorin_poectl metrics`.

  $ . "$TESTDIR/lab.sh"
  $ begin_lab --units 2
  $ quorin_poectl --quiet schedule add night --off 1/0/5-6 --from 22:00 --to 06:00 >out
  $ quorin_poectl metrics >figures

What there is, each with the words that tell of it.

  $ grep '^# HELP' figures
  # HELP quorin_poe_up Whether the daemon answered.
  # HELP quorin_poe_answer_seconds How long the daemon took for an answer.
  # HELP quorin_poe_port_enabled Whether the port is switched on.
  # HELP quorin_poe_port_state 1 for the state that the port is in, else 0.
  # HELP quorin_poe_port_power_watts What the port delivers.
  # HELP quorin_poe_port_power_limit_watts What the port may take at most.
  # HELP quorin_poe_port_temperature_celsius The temperature at the port.
  # HELP quorin_poe_ports Ports by what they do, and why those are off that are off.
  # HELP quorin_poe_day_runs Runs of the last 24 hours that have ended, by result.
  # HELP quorin_poe_open_runs Runs that have begun and not ended.
  # HELP quorin_poe_schedules Schedules, disabled ones too.
  # HELP quorin_poe_next_firing_seconds Until a schedule acts next; missing when none will.

A port (of the states that it is not in there is a 0 each), and what is of the whole switch.

  $ grep 'port="1/0/1"' figures | grep -v ' 0$'
  quorin_poe_port_enabled{unit="1",ifnum="1",port="1/0/1",label=""} 1
  quorin_poe_port_state{unit="1",ifnum="1",port="1/0/1",label="",state="delivering"} 1
  quorin_poe_port_power_watts{unit="1",ifnum="1",port="1/0/1",label=""} 6.4
  quorin_poe_port_power_limit_watts{unit="1",ifnum="1",port="1/0/1",label=""} 30
  quorin_poe_port_temperature_celsius{unit="1",ifnum="1",port="1/0/1",label=""} 40
  $ grep -v '^#' figures | grep -v 'port='
  quorin_poe_up 1
  quorin_poe_answer_seconds 0.* (glob)
  quorin_poe_ports{condition="delivering"} 27
  quorin_poe_ports{condition="searching"} 18
  quorin_poe_ports{condition="off_by_schedule"} 0
  quorin_poe_ports{condition="off_for_good"} 0
  quorin_poe_ports{condition="off_by_run"} 0
  quorin_poe_ports{condition="off_unexplained"} 0
  quorin_poe_ports{condition="fault"} 3
  quorin_poe_day_runs{result="success"} 0
  quorin_poe_day_runs{result="partial"} 0
  quorin_poe_day_runs{result="failed"} 0
  quorin_poe_day_runs{result="aborted"} 0
  quorin_poe_open_runs 0
  quorin_poe_schedules 1
  quorin_poe_next_firing_seconds 50400

One unit alone. Without a daemon that is a figure, too, so that somebody is called.

  $ quorin_poectl metrics --unit 2 | grep -c 'port_power_watts{unit="2"'
  24
  $ quorin_poectl --socket /nowhere metrics
  # HELP quorin_poe_up Whether the daemon answered.
  # TYPE quorin_poe_up gauge
  quorin_poe_up 0
  quorin_poectl: no daemon answers at /nowhere: No such file or directory
  Is quorin_poed running? Start it, or name its socket with --socket PATH.
  [8]
