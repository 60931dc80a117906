"use strict";
(() => {
  const report = JSON.parse(document.getElementById("report").textContent);
  const element = (id) => document.getElementById(id);
  const make = (tag, text, className) => {
    const made = document.createElement(tag);
    if (text !== undefined) made.textContent = text;
    if (className) made.className = className;
    return made;
  };
  const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();

  // Columns hold the first value and then differences.
  const column = (name) => {
    let value = 0;
    return report.columns[name].map((difference) => (value += difference));
  };
  const scaled = (name, by) => column(name).map((value) => value / by);
  const time = column("seconds");
  const end = time[time.length - 1];

  const two = (number) => String(number).padStart(2, "0");
  const clock = (seconds, withSeconds = true) => {
    const text = two(Math.floor(seconds / 3600)) + ":" + two(Math.floor(seconds / 60) % 60);
    return withSeconds ? text + ":" + two(Math.floor(seconds) % 60) : text;
  };
  const number = (value, digits, unit) => (value == null ? "–" : value.toFixed(digits) + " " + unit);

  // What is told in words.
  document.title = report.title;
  element("title").textContent = report.title;
  element("about").textContent = report.about;
  for (const fact of report.facts) {
    const tile = make("div");
    tile.append(make("dt", fact.name), make("dd", fact.value, fact.state), make("dd", fact.detail));
    element("facts").append(tile);
  }

  const plots = [];
  const zoom = (min, max) => plots.forEach((plot) => plot.setScale("x", { min, max }));
  element("whole").addEventListener("click", () => zoom(time[0], end));

  const violations = element("violations");
  violations.hidden = report.violations.length === 0;
  for (const violation of report.violations) {
    const row = make("tr");
    const at = make("td");
    const button = make("button", clock(violation.seconds), "time");
    button.type = "button";
    button.title = "Zoom to ten minutes around it";
    button.addEventListener("click", () =>
      zoom(Math.max(time[0], violation.seconds - 300), Math.min(end, violation.seconds + 300)));
    at.append(button);
    row.append(at, make("td", violation.rule), make("td", violation.figures));
    violations.querySelector("tbody").append(row);
  }

  // What all plots share.
  const font = "12px system-ui, -apple-system, \"Segoe UI\", Roboto, \"Liberation Sans\", sans-serif";
  const axis = (more) => ({
    stroke: () => colour("quiet"),
    grid: { stroke: () => colour("grid"), width: 1 },
    ticks: { stroke: () => colour("line"), width: 1, size: 5 },
    font,
    labelFont: font,
    ...more,
  });
  const timeAxis = (label) => axis({
    label,
    labelSize: label ? 18 : 0,
    size: label ? 26 : 28,
    space: 70,
    incrs: [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400],
    values: (plot, ticks, _, __, step) => ticks.map((tick) => clock(tick, step < 60)),
  });
  const valueAxis = (label, more) => axis({ scale: "y", label, labelSize: 20, size: 56, ...more });
  const stepped = uPlot.paths.stepped({ align: 1 });
  const line = (label, name, unit, digits, more) => ({
    label,
    stroke: () => colour(name),
    width: 1.5,
    points: { show: false },
    value: (plot, value) => number(value, digits, unit),
    ...more,
  });

  /// Where a rule did not hold a line goes through every plot.
  const markViolations = (plot) => {
    const { ctx, bbox } = plot;
    ctx.save();
    ctx.fillStyle = colour("bad");
    ctx.globalAlpha = 0.6;
    for (const { seconds } of report.violations) {
      if (seconds < plot.scales.x.min || seconds > plot.scales.x.max) continue;
      ctx.fillRect(Math.round(plot.valToPos(seconds, "x", true)), bbox.top, devicePixelRatio, bbox.height);
    }
    ctx.restore();
  };

  const add = ({ title, about, keys, className, ...options }, data) => {
    const panel = make("section", undefined, "panel " + (className || ""));
    const heading = make("h2", title + " ");
    heading.append(make("span", about));
    const place = make("div");
    place.setAttribute("role", "img");
    place.setAttribute("aria-label", title + " over time. " + about);
    panel.append(heading);
    if (keys) panel.append(keys);
    panel.append(place);
    element("plots").append(panel);
    const plot = new uPlot({
      width: place.clientWidth,
      cursor: { sync: { key: "station", setSeries: false }, drag: { x: true, y: false }, y: false },
      ...options,
      scales: { x: { time: false }, ...options.scales },
      series: [{ label: "Time", value: (self, value) => (value == null ? "–" : clock(value)) }, ...options.series],
      hooks: {
        ...options.hooks,
        draw: [...((options.hooks || {}).draw || []), markViolations],
        setScale: [(self, key) => {
          if (key !== "x") return;
          element("whole").disabled = self.scales.x.min <= time[0] && self.scales.x.max >= end;
        }],
      },
    }, [time, ...data], place);
    plots.push(plot);
    new ResizeObserver(() => {
      if (place.clientWidth !== plot.width) plot.setSize({ width: place.clientWidth, height: options.height });
    }).observe(place);
  };

  add({
    title: "Current at the house connection",
    about: "of each phase; negative while the house feeds in",
    height: 250,
    scales: { y: { range: (plot, min, max) => uPlot.rangeNum(Math.min(min, 0), max, 0.1, true) } },
    axes: [timeAxis(), valueAxis("Current (A)")],
    series: [
      line("L1", "l1", "A", 2),
      line("L2", "l2", "A", 2),
      line("L3", "l3", "A", 2),
      line("Main fuse", "bad", "A", 0, { dash: [6, 4], paths: stepped }),
    ],
  }, [scaled("house1", 1000), scaled("house2", 1000), scaled("house3", 1000), scaled("fuse", 1000)]);

  const surplus = scaled("surplus", 1000);
  const setpoint = scaled("setpoint", 1000);
  const phases = column("phases");
  add({
    title: "Power",
    about: "surplus: what the roof gives and the household leaves, drawn where there is some; setpoint: what the vehicle may draw",
    height: 280,
    scales: { y: { range: (plot, min, max) => uPlot.rangeNum(Math.min(min, 0), max, 0.1, true) } },
    axes: [timeAxis(), valueAxis("Power (kW)")],
    series: [
      line("Roof", "roof", "kW", 2, { fill: () => colour("roof") + "22" }),
      line("Household", "household", "kW", 2, { paths: stepped }),
      line("Surplus", "surplus", "kW", 2, {
        value: (plot, value, series, index) => number(index == null ? null : surplus[index], 2, "kW"),
      }),
      line("Vehicle", "vehicle", "kW", 2, { width: 2 }),
      line("Setpoint", "setpoint", "kW", 2, {
        dash: [3, 3],
        paths: stepped,
        value: (plot, value, series, index) => (value == null ? "–"
          : `${value.toFixed(2)} kW (${setpoint[index].toFixed(1)} A × ${phases[index]})`),
      }),
    ],
  }, [scaled("roof", 1000), scaled("household", 1000), surplus.map((power) => Math.max(power, 0)),
    scaled("vehicle", 1000),
    scaled("setpointpower", 1000)]);

  add({
    title: "Phases",
    about: "that the vehicle may charge on, and that it draws on",
    height: 130,
    scales: { y: { range: [0, 3.4] } },
    axes: [timeAxis(), valueAxis("Phases", { splits: [0, 1, 2, 3] })],
    series: [
      line("Allowed", "setpoint", "", 0, { dash: [3, 3], paths: stepped }),
      line("Drawn on", "vehicle", "", 0, { width: 2, paths: stepped }),
    ],
  }, [phases, column("vehiclephases")]);

  // A lane is a row of stretches, each in the colour of what held then.
  const palette = ["#4e79a7", "#f28e2b", "#59a14f", "#b6992d", "#499894", "#e15759", "#8c8c94", "#d37295", "#6a4fb3",
    "#c33fa0", "#86bcb6", "#f1ce3c", "#a0cbe8", "#9d7660", "#d4a6c8", "#79706e", "#ff9d9a", "#8cd17d", "#3f6fd1", "#b07aa1"];
  const sourceColour = (value) => palette[(value + palette.length - 2) % palette.length];
  const vehicleColours = ["absent", "connected", "surplus", "full"];
  const cableColours = ["absent", "cable1", "cable2", "cable3", "cable4", "bad", "bad"];
  const lanes = [
    { name: "Current", label: "Current decided by", column: "source", names: report.sources, colour: sourceColour },
    { name: "Phases", label: "Phases decided by", column: "phasesource", names: report.sources, colour: sourceColour },
    { name: "Vehicle", label: "Vehicle", column: "vehiclestate", names: report.vehiclestates,
      colour: (value) => colour(vehicleColours[value]) },
    { name: "Cable", label: "Cable", column: "cable", names: report.cables, colour: (value) => colour(cableColours[value]) },
  ].map((lane) => {
    const values = column(lane.column);
    const stretches = [];
    values.forEach((value, i) => {
      if (i === 0 || value !== values[i - 1]) stretches.push({ from: time[i], to: end, value });
      if (i > 0 && value !== values[i - 1]) stretches[stretches.length - 2].to = time[i];
    });
    return { ...lane, values, stretches };
  });

  /// Black or white, whichever is read more easily on it.
  const inkOn = (background) => {
    const digits = background.slice(1);
    const part = (i) => parseInt(digits.slice(2 * i, 2 * i + 2), 16);
    return 0.299 * part(0) + 0.587 * part(1) + 0.114 * part(2) > 150 ? "#14181f" : "#ffffff";
  };
  const drawLanes = (plot) => {
    const { ctx, bbox } = plot;
    const height = bbox.height / lanes.length;
    const gap = 3 * devicePixelRatio;
    const pad = 6 * devicePixelRatio;
    ctx.save();
    ctx.beginPath();
    ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
    ctx.clip();
    ctx.font = `${12 * devicePixelRatio}px ${font.slice(font.indexOf(" ") + 1)}`;
    ctx.textAlign = "left";
    ctx.textBaseline = "middle";
    lanes.forEach((lane, row) => {
      const top = bbox.top + row * height + gap;
      for (const { from, to, value } of lane.stretches) {
        const left = Math.max(plot.valToPos(from, "x", true), bbox.left);
        const right = Math.min(plot.valToPos(to, "x", true), bbox.left + bbox.width);
        if (right <= left) continue;
        const background = lane.colour(value);
        ctx.fillStyle = background;
        ctx.fillRect(left, top, Math.max(right - left, 1), height - 2 * gap);
        const text = lane.names[value];
        if (ctx.measureText(text).width + 2 * pad > right - left) continue;
        ctx.fillStyle = inkOn(background);
        ctx.fillText(text, left + pad, top + (height - 2 * gap) / 2);
      }
    });
    ctx.restore();
  };

  /// Who decided the current, and how long, the longest first.
  const deciders = () => {
    const spans = new Map();
    for (const { from, to, value } of lanes[0].stretches) spans.set(value, (spans.get(value) || 0) + to - from);
    for (const { value } of lanes[1].stretches) spans.set(value, spans.get(value) || 0);
    const keys = make("div", undefined, "keys");
    for (const [value, span] of [...spans].sort((a, b) => b[1] - a[1] || a[0] - b[0])) {
      const key = make("span");
      const swatch = make("i");
      swatch.style.background = sourceColour(value);
      key.append(swatch, make("b", report.sources[value]), " " + (span > 0 ? clock(span) + " h" : "phases only"));
      keys.append(key);
    }
    return keys;
  };

  add({
    title: "Who decides, the vehicle and its cable",
    about: "each source with the time for which it decided the current",
    className: "lanes",
    keys: deciders(),
    height: 190,
    scales: { y: { range: [0, lanes.length] } },
    axes: [timeAxis(report.timelabel), valueAxis("", {
      size: 76,
      labelSize: 0,
      grid: { show: false },
      ticks: { show: false },
      splits: lanes.map((lane, row) => lanes.length - row - 0.5),
      values: () => lanes.map((lane) => lane.name),
    })],
    series: lanes.map((lane) => ({
      label: lane.label,
      paths: () => null,
      points: { show: false },
      value: (plot, value) => (value == null ? "–" : lane.names[value]),
    })),
    hooks: { drawAxes: [drawLanes] },
  }, lanes.map((lane) => lane.values));

  const redraw = () => plots.forEach((plot) => plot.redraw(false));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
})();
