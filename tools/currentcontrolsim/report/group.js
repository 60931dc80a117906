/// A group of stations on one supply.
if (page.report.stations) (() => {
  const { report, element, make, colour, column, scaled, time, end, clock, number, timeButton, timeAxis, valueAxis, stepped,
    line, add, stretchesOf, laneHook, laneAxis } = page;

  const failures = report.failures.map((failure) =>
    ({ ...failure, from: failure.from_seconds, until: failure.until_seconds }));
  const nameWidth = 130;  // of stations; all plots begin there
  const span = (seconds) => (seconds === 0 ? "–" : clock(seconds));

  /// What is striped was failing then.
  const stripes = (ctx, left, top, width, height) => {
    const step = 6 * devicePixelRatio;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, top, width, height);
    ctx.clip();
    ctx.fillStyle = colour("bad") + "1c";
    ctx.fillRect(left, top, width, height);
    ctx.strokeStyle = colour("bad") + "66";
    ctx.lineWidth = devicePixelRatio;
    ctx.beginPath();
    for (let x = left - height - ((left - height) % step); x < left + width; x += step) {
      ctx.moveTo(x, top + height);
      ctx.lineTo(x + height, top);
    }
    ctx.stroke();
    ctx.restore();
  };
  const drawFailures = (ctx, list, top, height, place) => {
    for (const { from, until } of list) {
      const left = place(from);
      if (place(until) > left) stripes(ctx, left, top, Math.max(place(until) - left, 2 * devicePixelRatio), height);
    }
  };

  // The supply, phase by phase.
  const highest = Math.max(...["r", "s", "t"].flatMap((phase) =>
    ["capacity_", "atmost_"].map((name) => scaled(name + phase, 1000).reduce((most, value) => Math.max(most, value), 0))));
  ["r", "s", "t"].forEach((phase, i) => add({
    title: "Supply, phase " + phase.toUpperCase(),
    about: i > 0 ? "" : "what the stations draw together, what they may be drawing at most whatever is lost or falls back, "
      + "and what the house leaves to them; striped: something is failing",
    height: 165,
    scales: { y: { range: [0, highest * 1.05] } },
    axes: [timeAxis(), valueAxis("Current (A)", { size: nameWidth - 20 })],
    series: [
      line("Capacity", "bad", "A", 1, { dash: [6, 4], paths: stepped }),
      line("At most", "setpoint", "A", 1, { width: 1, paths: stepped }),
      line("Drawn", "l" + (i + 1), "A", 1, { paths: stepped, fill: () => colour("l" + (i + 1)) + "33" }),
    ],
    hooks: { drawAxes: [laneHook(1, (ctx, row, top, height, place) => drawFailures(ctx, failures, top, height, place))] },
  }, ["capacity_", "atmost_", "drawn_"].map((name) => scaled(name + phase, 1000))));

  // A lane for each station: its limit, what its vehicle draws, and where it stands.
  const stateColours = ["nopower", "alone", "settling", "idle", "waits", "charges"];
  const lanes = report.stations.map((station, i) => ({
    name: `${i + 1}  ${station.serial_number}`,
    limit: scaled("limit" + i, 1000),
    drawn: scaled("drawn" + i, 1000),
    states: column("state" + i),
    failures: failures.filter((failure) => failure.stations.length === 0 || failure.stations.includes(i + 1)),
  }));
  for (const lane of lanes) lane.stretches = stretchesOf(lane.states);
  const top = lanes.reduce((most, lane) => Math.max(most, ...stretchesOf(lane.limit).map(({ value }) => value)), 16);

  /// Steps through what a lane shows of its values.
  const trace = (ctx, values, place, height, { min, max }) => {
    let y;
    values.forEach((value, i) => {
      if (time[i] > max || (y !== undefined && value === values[i - 1])) return;
      if (i + 1 < time.length && time[i + 1] <= min) return;
      if (y !== undefined) ctx.lineTo(place(time[i]), y);
      y = height(value);
      ctx.lineTo(place(time[i]), y);
    });
    ctx.lineTo(place(end), y);
  };
  const drawLane = (ctx, row, laneTop, laneHeight, place, plot) => {
    const lane = lanes[row];
    const dot = devicePixelRatio;
    const ribbon = 6 * dot;
    const bottom = laneTop + laneHeight - 3 * dot;
    const base = bottom - ribbon - dot;
    const height = (ampere) => base - (ampere / top) * (base - laneTop - 4 * dot);
    for (const { from, to, value } of lane.stretches) {
      ctx.fillStyle = colour(stateColours[value]);
      ctx.fillRect(place(from), bottom - ribbon, Math.max(place(to) - place(from), 0), ribbon);
    }
    drawFailures(ctx, lane.failures, laneTop + dot, bottom - ribbon - laneTop - dot, place);
    ctx.fillStyle = colour("vehicle") + "77";
    ctx.beginPath();
    ctx.moveTo(place(time[0]), base);
    trace(ctx, lane.drawn, place, height, plot.scales.x);
    ctx.lineTo(place(end), base);
    ctx.fill();
    ctx.strokeStyle = colour("setpoint");
    ctx.lineWidth = dot;
    ctx.beginPath();
    trace(ctx, lane.limit, place, height, plot.scales.x);
    ctx.stroke();
    ctx.fillStyle = colour("line");
    ctx.fillRect(place(time[0]), laneTop + laneHeight - dot, place(end) - place(time[0]), dot);
  };

  const keys = make("div", undefined, "keys");
  report.states.forEach((name, value) => {
    const seconds = lanes.flatMap((lane) => lane.stretches).reduce(
      (sum, stretch) => sum + (stretch.value === value ? stretch.to - stretch.from : 0), 0);
    if (seconds === 0) return;
    const key = make("span");
    const swatch = make("i");
    swatch.style.background = colour(stateColours[value]);
    key.append(swatch, make("b", name), ` ${clock(seconds, false)} h`);
    keys.append(key);
  });
  add({
    title: "Stations",
    about: `limit (line) and draw on the phase with most (area), 0 to ${top.toFixed(0)} A; below it the state, with the time of all `
      + "stations together",
    className: "lanes",
    keys,
    height: lanes.length * Math.max(34, Math.min(56, 560 / lanes.length)) + 60,
    scales: { y: { range: [0, lanes.length] } },
    axes: [timeAxis(report.timelabel), laneAxis(lanes.map((lane) => lane.name), nameWidth)],
    series: lanes.map((lane) => ({
      label: lane.name,
      paths: () => null,
      points: { show: false },
      value: (plot, value, series, index) => (value == null ? "–"
        : `${number(lane.drawn[index], 1, "A")} of ${number(lane.limit[index], 1, "A")}, ${report.states[value]}`),
    })),
    hooks: { drawAxes: [laneHook(lanes.length, drawLane)] },
  }, lanes.map((lane) => lane.states));

  // Tables. A cell is a text, or an element; figures stand at the right.
  const addTable = (title, columns, rows) => {
    const panel = make("section", undefined, "table");
    const table = make("table");
    const head = table.createTHead().insertRow();
    for (const [name, className] of columns) head.append(make("th", name, className));
    const body = table.createTBody();
    for (const cells of rows) {
      const row = body.insertRow();
      cells.forEach((cell, i) => {
        const data = make("td", undefined, columns[i][1]);
        data.append(cell);
        row.append(data);
      });
    }
    panel.append(make("h2", title), table);
    element("tables").append(panel);
  };
  addTable("Stations", [["Station"], ["Serial number"], ["Fallback", "figure"], ["Charged", "figure"],
    ["Charging for", "figure"], ["Longest wait", "figure"], ["From"]], report.stations.map((station, i) => [
    i === 0 ? "1, leader" : String(i + 1),
    station.serial_number,
    number(station.fallback_milliampere / 1000, 0, "A"),
    number(station.charged_watt_hours / 1000, 2, "kWh"),
    span(station.charging_seconds),
    span(station.longest_wait_seconds),
    station.longest_wait_seconds === 0 ? "–"
      : timeButton(station.longest_wait_at_seconds, station.longest_wait_at_seconds + station.longest_wait_seconds),
  ]));
  addTable("What failed", [["From"], ["For", "figure"], ["Stations"], ["What"]], failures.map((failure) => [
    timeButton(failure.from, failure.until),
    clock(failure.until - failure.from),
    failure.stations.length === 0 ? "all" : failure.stations.join(", "),
    failure.what,
  ]));
})();
