// The bench. What comes from outside gets into the page as text only (make).
const $ = (selector, within = document) => within.querySelector(selector);
const on = (target, type, work) => target.addEventListener(type, work);
let units = [], lab = {}, schedules = [], week = null, chosen = null, nextFiring = 0, count = 0;

function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === 'function') on(element, name, value);
    else if (value !== false) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

// Whether it is not what it was the last time: what is drawn already keeps its focus.
const drawn = {};
function isNew(key, ...value) {
  const was = drawn[key];
  return was !== (drawn[key] = JSON.stringify(value));
}

const waits = new Map(), troubles = new Map();
function tell() {
  $('#waiting').textContent = waits.size ? `waiting for ${[...waits.values()].join(', ')}` : '';
  const text = [...new Set(troubles.values())].join('\n');
  if (isNew('trouble', text)) $('#trouble').textContent = text;
}

// What goes wrong with the work stands under its name until it goes well.
async function attempt(name, what, work) {
  const timer = setTimeout(() => { waits.set(name, what); tell(); }, 300);
  try {
    await work();
    troubles.delete(name);
  } catch (error) {
    troubles.set(name, error.message);
  }
  clearTimeout(timer);
  waits.delete(name);
  tell();
}
const act = (what, work) => attempt('act', what, work).then(refresh);

// What the page shows is asked for again and again, each once at a time.
const jobs = [];
async function run(job) {
  job.isAsked = job.isBusy;
  if (job.isBusy || document.hidden) return;
  job.isBusy = true;
  await attempt(job.what, job.what, job.work);
  job.isBusy = false;
  if (job.isAsked) run(job);
}
const refresh = () => jobs.forEach(run);
const keep = (what, seconds, work) => {
  jobs.push({ what, work });
  setInterval(run, 1000 * seconds, jobs.at(-1));
};

// --- Requests, and the drawer that has them

async function ask(path, body) {
  const answer = await fetch(path, body && { method: 'POST', body })
    .catch(() => { throw Error('The bench does not answer: `switchsim web` has ended.'); });
  const text = (await answer.text()).trim();
  if (!answer.ok) throw Error(text);
  return text;
}

function note(what, request, answer, isOfPage) {
  const list = $('#drawer ol'), line = `${++count} ${what}${isOfPage ? ', by the page' : ''}`;
  const shown = [request, answer].map((text) => make('pre', {},
    make('button', { click: () => navigator.clipboard.writeText(text) }, 'Copy'), ` ${text}`));
  const item = make('details', {}, make('summary', {}, line), ...shown);
  const same = [...list.children].find((each) => isOfPage && each.dataset.of === request);
  if (same && !$('details', same).open) same.remove();
  list[isOfPage ? 'append' : 'prepend'](make('li', { 'data-of': isOfPage ? request : '' }, item));
  if (!isOfPage) $('#last').textContent = line;
  if (list.children.length > 100) list.lastChild.remove();
}

async function post(what, path, request, isOfPage = false) {
  const body = JSON.stringify(request), start = performance.now();
  let answer = '';
  try {
    return JSON.parse(answer = await ask(path, body));
  } catch (error) {
    throw Error(answer = error.message);
  } finally {
    note(`${what}, ${(performance.now() - start).toFixed(1)} ms`, body, answer, isOfPage);
  }
}

const kWords = {
  10000: 'it failed inside the daemon: its database, memory or the switch',
  10003: 'something is missing, of the wrong type or out of range',
  10011: 'the unit has a schedule of that name already',
  10023: 'there is no such schedule or run any more',
  'schedule.update 10000': 'the name is taken, or the daemon could not store it',
  'manual.reset 10003': 'a port is no PoE port of the unit, or none of them is on',
};
async function rpc(method, params, isOfPage) {
  const { ok, error, result } = await post(method, '/rpc', { method, params }, isOfPage);
  const words = kWords[`${method} ${error}`] ?? kWords[error] ?? 'it is refused';
  if (!ok) throw Error(`${method}: ${words} (${error})`);
  return result;
}
async function everywhere(method, params, key) {  // of all units
  const all = [];
  for (const { unit } of units) {
    const result = await rpc(method, { unit, ...params }, true);
    all.push(...result[key].map((each) => ({ ...each, unit })));
  }
  return all;
}

// The lab's zone; where the browser does not know it, the offset that a text ends with: its own, or
// that of the text nearest to a number.
function zoneAt(instant) {
  try { return Intl.DateTimeFormat('en', { timeZone: lab.zone ?? undefined }).resolvedOptions(); }
  catch {
    const acts = (week?.ports ?? []).flatMap(({ past, firings }) => [...past, ...firings]);
    const texts = [lab.time, ...acts.map((each) => each.at)];
    const far = (text) => Math.abs(Date.parse(text) - instant);
    const nearest = () => texts.reduce((a, b) => (far(b) < far(a) ? b : a));
    return { timeZone: (typeof instant === 'string' ? instant : nearest()).slice(-6) };
  }
}
function when(instant, isWhole = false) {
  const { timeZone } = zoneAt(instant), date = new Date(instant);
  const text = date.toLocaleString('sv-SE', { timeZone });  // 2026-03-03 22:00:00
  const isNear = Math.abs(date - Date.parse(lab.time)) < 6 * 86400e3;
  const day = date.toLocaleString('en', { timeZone, weekday: 'short' });
  return `${day} ${isWhole ? text : text.slice(isNear ? 11 : 0, 16)}`;
}

const ports = () => units.flatMap(({ unit, ports: all }) => all.map((port) => ({ ...port, unit })));
const portOf = (ifNum) => ports().find((port) => port.ifNum === ifNum);
const nameOf = (ifNum) => portOf(ifNum)?.name ?? String(ifNum);
function namesOf(ifNums) {  // "1/0/5-8, 1/0/12"
  const ranges = [];
  for (const ifNum of [...ifNums].sort((a, b) => a - b)) {
    if (ranges.at(-1)?.[1] === ifNum - 1) ranges.at(-1)[1] = ifNum;
    else ranges.push([ifNum, ifNum]);
  }
  const text = ([a, b]) => nameOf(a) + (a < b ? `-${nameOf(b).split('/').at(-1)}` : '');
  return ranges.map(text).join(', ');
}

const kDays = ['Mon', 'Tue', 'Wed', 'Thu', 'Fri', 'Sat', 'Sun'];
function wordsOf({ scheduleType, recurrence, recurrenceDays = [], ifNums = [], ...schedule }) {
  const window = schedule.allDay ? 'all day' : `${schedule.startTime}-${schedule.endTime}`;
  const days = recurrenceDays.map((day) => (recurrence === 'weekly' ? kDays[day - 1] : day));
  return [scheduleType.replace('power_', ''), schedule.restartTime ?? window, recurrence,
    ...days].join(' ') + `: ${namesOf(ifNums)}`;
}

// --- The front panel

const kShort = { off: 'off', searching: 'search', denied: 'denied', fault: 'fault', no: 'no PoE' };
const watts = (milliwatts) => `${(milliwatts / 1000).toFixed(1)} W`;
const kindOf = (port) => (!port.poe ? 'no' : !port.adminMode ? 'off'
  : port.starting ? 'starting' : port.state);

keep('the switch', 1, async () => showSwitch(JSON.parse(await ask('/switch'))));
function showSwitch(view) {
  units = view.units;
  if (isNew('layout', ports().map(({ name, poe }) => [name, poe]))) layPanel();
  for (const { unit, powerMw } of units) {
    $(`#unit${unit}`).textContent = `Unit ${unit} delivers ${watts(powerMw)}`;
  }
  ports().filter((port) => isNew(port.name, port)).forEach(showPort);
  showChosen();
}
function layPanel() {
  const button = ({ ifNum, poe }) => make('button', { id: `port${ifNum}`, class: 'port',
    tabindex: -1, disabled: !poe && '', click: () => choose(ifNum) },
  make('b'), make('i'), make('span'));
  const pair = (all, i) => make('div', { class: 'pair' }, ...all.slice(i, i + 2).map(button));
  $('#units').replaceChildren(...units.flatMap(({ unit, ports: all }) => [
    make('h2', { id: `unit${unit}` }),
    make('div', { class: 'unit' }, ...all.flatMap((_, i) => (i % 2 ? [] : pair(all, i))))]));
  $('.port:enabled')?.setAttribute('tabindex', 0);
  for (const { name } of ports()) delete drawn[name];
  $('[name=unit]').replaceChildren(...units.map(({ unit }) => make('option', {}, unit)));
  refresh();
}
function showPort(port) {
  const button = $(`#port${port.ifNum}`), kind = kindOf(port);
  $('b', button).textContent = port.name.split('/').at(-1);
  $('i', button).className = kind;
  $('span', button).textContent = kShort[kind] ?? watts(port.powerMw);
  const mode = port.adminMode ? `on, ${kind}, ${watts(port.powerMw)}` : kShort[kind];
  button.setAttribute('aria-label', `${port.name} ${mode}`);
}

// Arrows go from port to port: up and down in a column, left and right to the next one.
on($('#units'), 'keydown', (event) => {
  const step = { ArrowUp: -1, ArrowDown: 1, ArrowLeft: -2, ArrowRight: 2 }[event.key];
  const all = [...document.querySelectorAll('.port:enabled')];
  if (!step) return;
  event.preventDefault();
  goToPort(all[all.indexOf(document.activeElement) + step] ?? document.activeElement);
});
function goToPort(button) {
  $('.port[tabindex="0"]').tabIndex = -1;
  button.tabIndex = 0;
  button.focus();
}

function choose(ifNum) {
  chosen = ifNum;
  const port = portOf(ifNum), button = $(`#port${ifNum}`);
  $('.port[aria-current]')?.removeAttribute('aria-current');
  button.setAttribute('aria-current', 'true');
  goToPort(button);
  $('#port').hidden = false;
  $('#why').textContent = $('#reset .error').textContent = '';
  $('[name=device]').value = port.device === 'steady' ? port.deviceWatts : port.device;
  tickPorts($('#reset'), port.unit, [ifNum]);
  showChosen();
  $('#port').scrollIntoView({ block: 'nearest' });
  refresh();
}
function showChosen() {
  const port = portOf(chosen);
  if (!port || !isNew('chosen', port, schedules)) return;
  const device = port.deviceWatts ? `${port.device} device, ${port.deviceWatts} W` : 'no device';
  $('#portName').textContent = `Port ${port.name}`;
  $('#facts').textContent = `${port.adminMode ? `On, ${kindOf(port)}` : 'Off'}, ` +
    `${watts(port.powerMw)} of ${watts(port.limitMw)}, ${port.temperature} °C; ${device}`;
  $('#own').replaceChildren(...schedules.filter((each) => each.ifNums.includes(chosen))
    .map((each) => make('li', {}, `${each.name}: ${wordsOf(each)}`)));
}
keep('why the port is so', 3, async () => {
  if (!chosen) return;
  const { state, dark, events } = JSON.parse(await ask(`/why?port=${chosen}`));
  const cause = events.findLast((event) => event.effect === 'off') ?? events.at(-1);
  const name = cause?.scheduleId ? `schedule ${cause.scheduleId} ${cause.scheduleName}` : 'a reset';
  const by = cause ? name : 'no run did it, perhaps the switch’s own CLI';
  const since = dark.from ? ` since ${when(dark.from)}` : '';
  const until = dark.expectedTo ? `, until ${when(dark.expectedTo)}` : '';
  $('#why').textContent = state === 'on' ? '' : `Dark${since}: ${by}${until}.`;
});

function onSubmit(selector, work) {
  on($(selector), 'submit', (event) => { event.preventDefault(); work(event.target.elements); });
}
onSubmit('#device', ({ device }) => act('the switch', () => post('switchsim device', '/switch',
  { words: ['device', String(chosen), device.value] })));
onSubmit('#reset', ({ offTimeSec }) => {
  const ifNums = ticked($('#reset'), 'ifNums');
  $('#reset .error').textContent = ifNums.length ? ''
    : 'Tick a port: a reset without any would restart the whole unit.';
  const request = { ifNums, offTimeSec: Number(offTimeSec.value) }, { unit } = portOf(chosen);
  if (ifNums.length) act('the reset', () => rpc('manual.reset', { unit, request }));
});

function tick(form, name, choices, is) {
  const box = (value) => ({ type: 'checkbox', name, value, checked: is.includes(value) && '' });
  const labels = choices.map(([value, text]) => make('label', {}, make('input', box(value)), text));
  $(`[data-ticks=${name}]`, form).replaceChildren(...labels);
}
function tickPorts(form, unit, isTicked) {
  const all = ports().filter((port) => port.unit === unit && port.poe);
  tick(form, 'ifNums', all.map((port) => [port.ifNum, port.name]), isTicked);
}
const ticked = (form, name) => [...form.querySelectorAll(`[name=${name}]:checked`)]
  .map((each) => Number(each.value));

// --- The week

// [what it is, from, until]: up to now as runs bear out, from its mode on as schedules make it.
function spansOf(port, { from, until, now }) {
  const kind = (isOn) => ({ true: 'lit', false: 'dark' }[isOn] ?? 'unknown');
  const changes = [...changesOf(port), [now, Boolean(portOf(port.ifNum)?.adminMode)], [until]];
  const spans = [];
  let since = from, is = kind(port.isOnAtStart);
  for (const [at, isOn, isRestart] of changes.sort((a, b) => a[0] - b[0])) {
    spans.push([is, since, at]);
    if (isRestart) spans.push(['restart', at, at]);
    [since, is] = [at, kind(isOn)];
  }
  return [...spans, ['now', now, now]];
}
const changesOf = ({ past, firings }) => [
  ...past.map((each) => [Date.parse(each.at), each.isOn, each.isRestart]),
  ...firings.map(({ at, act: to }) => [Date.parse(at), to !== 'off', to === 'restart'])];
function stripOf(port, times) {
  const word = (isOn) => ({ true: 'on', false: 'off' }[isOn] ?? 'not known');
  const words = changesOf(port).map(([at, isOn, isRestart]) => (
    `${isRestart ? 'restart' : word(isOn)} ${when(at)}`)).join(', ');
  const share = (ms) => `${(100 * ms) / (times.until - times.from)}%`;
  const strip = make('div', { class: 'strip', role: 'img', 'aria-label': words, title: words });
  for (const [is, from, until] of spansOf(port, times)) {
    const span = make('span', { class: is });
    span.style.left = share(from - times.from);
    if (until > from) span.style.width = share(until - from);
    strip.append(span);
  }
  return strip;
}

keep('the week', 3, async () => { week = JSON.parse(await ask('/week')); showWeek(); });
function showWeek() {
  if (!week || !lab.time) return;
  const [from, until, now] = [week.from, week.until, lab.time].map(Date.parse);
  const modes = ports().map((port) => port.adminMode), times = { from, until, now };
  if (!isNew('week', week, Math.floor(now / 300e3), modes)) return;
  const busy = week.ports.filter((port) => changesOf(port).length);
  const rows = Map.groupBy(busy, (port) => JSON.stringify(spansOf(port, times)));
  const numbers = (all) => namesOf(all.map((port) => port.ifNum));
  const days = [0.5, 1.5, 2.5, 3.5, 4.5, 5.5, 6.5].map((day) => when(from + day * 86400e3));
  $('#days').replaceChildren(...days.map((day) => make('span', {}, day.slice(0, 3))));
  $('#strips').replaceChildren(...[...rows.values()].map((same) => make('div', { class: 'row' },
    make('span', {}, numbers(same)), stripOf(same[0], times))));
  const idle = week.ports.filter((port) => !changesOf(port).length);
  $('#idle').textContent = idle.length ? `No schedule acts on ${numbers(idle)}.` : '';
  const firings = busy.flatMap((port) => port.firings).map((firing) => Date.parse(firing.at));
  nextFiring = Math.min(...firings.filter((at) => at > now));
  $('#next').disabled = nextFiring === Infinity;
  $('#next').textContent = $('#next').disabled ? 'No firing this week'
    : `To the next firing, ${when(nextFiring)}`;
  $('#slider').disabled = false;
  $('#slider').max = (until - from) / kSlideMs;
  if (!isSliding) $('#slider').value = (now - from) / kSlideMs;
}

// --- The clock

function showLab(told) {
  lab = told;
  if (!isSliding) $('#time').textContent = when(lab.time, true);
  if (isNew('speed', lab.speed)) $('#speed').value = lab.speed;
  const ended = `The daemon has ended: \`switchsim lab up --dir ${lab.folder}\` starts it again.`;
  troubles[lab.running ? 'delete' : 'set']('lab', ended);
  showWeek();
  tell();
}
const move = (request) => act('the lab', async () => showLab(await post('lab', '/lab', request)));
const instant = (ms) => new Date(ms).toISOString().replace('.000', '');
document.querySelectorAll('[data-by]')
  .forEach((each) => on(each, 'click', () => move({ at: each.dataset.by })));
on($('#next'), 'click', () => move({ at: instant(nextFiring) }));
on($('#speed'), 'change', (event) => move({ speed: Number(event.target.value) }));

const kSlideMs = 900e3;
let isSliding = false;
const slidTo = () => Date.parse(week.from) + $('#slider').value * kSlideMs;
on($('#slider'), 'input', () => {
  isSliding = true;
  $('#time').textContent = `to ${when(slidTo())}?`;
  $('#slider').setAttribute('aria-valuetext', when(slidTo()));
});
on($('#slider'), 'change', () => {
  const isBack = slidTo() < Date.parse(lab.time), to = instant(slidTo());
  isSliding = false;
  drawn.week = '';
  const isMeant = !isBack || confirm('Set the clock back? What was done stays done.');
  if (isMeant) move({ [isBack ? 'jump' : 'at']: to });
  else showLab(lab);
});

// --- Schedules

keep('schedule.list', 3, async () => {
  schedules = await everywhere('schedule.list', {}, 'schedules');
  showChosen();
  if (isNew('all', schedules)) $('#schedules ul').replaceChildren(...schedules.map(scheduleItem));
});
function scheduleItem(schedule) {
  const { unit, scheduleId, status, ...content } = schedule, { name, enabled } = schedule;
  const button = (text, click) => make('button', { click, 'aria-label': `${text} ${name}` }, text);
  const send = (to, more) => act('the schedule', () => rpc(to, { unit, scheduleId, ...more }));
  return make('li', {}, make('span', {}, make('b', {}, name), ` ${wordsOf(schedule)}`),
    button('Change', () => edit(schedule)),
    button(enabled ? 'Disable' : 'Enable', () => send('schedule.update',
      { schedule: { ...content, enabled: !enabled } })),
    button('Delete', () => confirm(`Delete ${name}?`) && send('schedule.delete')));
}

const editor = $('#editor'), fields = $('#editor form').elements;
on($('#add'), 'click', () => edit({ unit: (portOf(chosen) ?? units[0]).unit, ifNums: [chosen] }));
on($('#cancel'), 'click', () => editor.close());
function edit(schedule) {
  $('#editor form').reset();
  editor.dataset.id = schedule.scheduleId ?? '';
  for (const [key, value] of Object.entries(schedule)) {
    if (typeof value === 'boolean') fields[key].checked = value;
    else if (fields[key]?.tagName) fields[key].value = value;
  }
  fields.unit.disabled = fields.scheduleType.disabled = Boolean(schedule.scheduleId);
  $('.error', editor).textContent = '';
  tickPorts(editor, schedule.unit, schedule.ifNums ?? []);
  adapt(schedule.recurrenceDays);
  editor.showModal();
}
// To what there is to say of this type, on these days.
function adapt(days = []) {
  const type = fields.allDay.checked ? 'allDay' : 'window', recurrence = fields.recurrence.value;
  const is = fields.scheduleType.value === 'restart' ? 'restart' : type;
  const parts = [...editor.querySelectorAll('[data-of]')];
  parts.forEach((each) => { each.hidden = !each.dataset.of.includes(is); });
  const names = { daily: [], weekly: kDays, monthly: [...Array(31).keys()].map((day) => day + 1) };
  tick(editor, 'recurrenceDays', names[recurrence].map((name, i) => [i + 1, name]), days);
}
on(editor, 'change', ({ target }) => {
  if (['scheduleType', 'recurrence', 'allDay'].includes(target.name)) adapt();
  if (target.name === 'unit') tickPorts(editor, Number(target.value), []);
});

onSubmit('#editor form', async () => {
  const schedule = { ifNums: ticked(editor, 'ifNums') }, days = ticked(editor, 'recurrenceDays');
  if (fields.recurrence.value !== 'daily') schedule.recurrenceDays = days;
  for (const { name, type, value, checked, parentElement: label } of fields) {
    const isSaid = name && name !== 'unit' && !schedule[name] && !label.hidden && value !== '';
    if (isSaid) schedule[name] = { checkbox: checked, number: Number(value) }[type] ?? value;
  }
  const unit = Number(fields.unit.value), scheduleId = Number(editor.dataset.id) || undefined;
  const method = scheduleId ? 'schedule.update' : 'schedule.create';
  await attempt('form', method, () => rpc(method, { unit, scheduleId, schedule }));
  $('#editor .error').textContent = troubles.get('form') ?? '';
  if (!troubles.delete('form')) editor.close();
  tell();
  refresh();
});

// --- Runs

keep('history.list', 1, async () => {
  const runs = await everywhere('history.list', { pageSize: 12 }, 'runs');
  runs.sort((a, b) => b.runId - a.runId);
  if (isNew('runs', runs)) $('#runs ol').replaceChildren(...runs.slice(0, 12).map(runItem));
});
function runItem({ unit, runId, status, portCount, ...run }) {
  const list = make('ul');
  const toggle = ({ target }) => target.open && attempt('the run', 'history.detail', async () => {
    const { portSteps } = await rpc('history.detail', { unit, runId });
    list.replaceChildren(...portSteps.map((step) => make('li', {},
      `${nameOf(step.ifNum)} ${step.status} ${step.errorMessage ?? ''}`)));
  });
  const words = ` ${status}, ${run.successPortCount} of ${portCount} ports`;
  return make('li', {}, make('details', { toggle }, make('summary', {},
    `${runId} ${when(run.startedAt)} `, make('b', {}, run.scheduleName), words), list));
}

history.replaceState(null, '', '/');  // the token is in the cookie now
(function follow() {
  const events = new EventSource('/events');
  const hear = (text) => { troubles[text ? 'set' : 'delete']('events', text); tell(); };
  on(events, 'clock', (event) => showLab(JSON.parse(event.data)));
  on(events, 'message', () => { hear(''); refresh(); });  // there is one at the start
  on(events, 'error', () => {
    hear('The bench tells no events; the page asks for them again.');
    if (events.readyState === EventSource.CLOSED) setTimeout(follow, 3000);
  });
}());
