"use strict";
/// What the pages of all runs share: the words at their head, and how things are plotted over time.
const page = (() => {
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

  /// Shows a stretch of time with five minutes before and after it.
  const timeButton = (from, until) => {
    const button = make("button", clock(from), "time");
    button.type = "button";
    button.title = "Zoom to it, with five minutes before and after";
    button.addEventListener("click", () => zoom(Math.max(time[0], from - 300), Math.min(end, until + 300)));
    return button;
  };

  const violations = element("violations");
  violations.hidden = report.violations.length === 0;
  for (const violation of report.violations) {
    const row = make("tr");
    const at = make("td");
    at.append(timeButton(violation.seconds, violation.seconds));
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

  /// Stretches of time in which a value stays the same.
  const stretchesOf = (values) => {
    const stretches = [];
    values.forEach((value, i) => {
      if (i > 0 && value === values[i - 1]) return;
      if (i > 0) stretches[stretches.length - 1].to = time[i];
      stretches.push({ from: time[i], to: end, value });
    });
    return stretches;
  };

  /// The lanes of a plot are its rows, the first at the top. `draw` gets each row's top and height, and a way
  /// from times to places on the canvas that ends where the plot does.
  const laneHook = (count, draw) => (plot) => {
    const { ctx, bbox } = plot;
    const height = bbox.height / count;
    const place = (seconds) =>
      Math.min(Math.max(plot.valToPos(seconds, "x", true), bbox.left), bbox.left + bbox.width);
    ctx.save();
    ctx.beginPath();
    ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
    ctx.clip();
    for (let row = 0; row < count; ++row) draw(ctx, row, bbox.top + row * height, height, place, plot);
    ctx.restore();
  };
  const laneAxis = (names, size) => valueAxis("", {
    size,
    labelSize: 0,
    grid: { show: false },
    ticks: { show: false },
    splits: names.map((name, row) => names.length - row - 0.5),
    values: () => names,
  });

  const redraw = () => plots.forEach((plot) => plot.redraw(false));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);

  return { report, element, make, colour, column, scaled, time, end, clock, number, timeButton, font, timeAxis, valueAxis,
    stepped, line, add, stretchesOf, laneHook, laneAxis };
})();
