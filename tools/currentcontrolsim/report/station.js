/// A station with its vehicle and its house.
if (!page.report.stations) (() => {
  const { report, make, colour, column, scaled, clock, number, font, timeAxis, valueAxis, stepped, line, add, stretchesOf,
    laneHook, laneAxis } = page;

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
    return { ...lane, values, stretches: stretchesOf(values) };
  });

  /// Black or white, whichever is read more easily on it.
  const inkOn = (background) => {
    const digits = background.slice(1);
    const part = (i) => parseInt(digits.slice(2 * i, 2 * i + 2), 16);
    return 0.299 * part(0) + 0.587 * part(1) + 0.114 * part(2) > 150 ? "#14181f" : "#ffffff";
  };
  const drawLane = (ctx, row, laneTop, laneHeight, place) => {
    const lane = lanes[row];
    const pad = 6 * devicePixelRatio;
    const top = laneTop + 3 * devicePixelRatio;
    const height = laneHeight - 6 * devicePixelRatio;
    ctx.font = `${12 * devicePixelRatio}px ${font.slice(font.indexOf(" ") + 1)}`;
    ctx.textAlign = "left";
    ctx.textBaseline = "middle";
    for (const { from, to, value } of lane.stretches) {
      const left = place(from);
      const right = place(to);
      if (right <= left) continue;
      const background = lane.colour(value);
      ctx.fillStyle = background;
      ctx.fillRect(left, top, Math.max(right - left, 1), height);
      const text = lane.names[value];
      if (ctx.measureText(text).width + 2 * pad > right - left) continue;
      ctx.fillStyle = inkOn(background);
      ctx.fillText(text, left + pad, top + height / 2);
    }
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
    axes: [timeAxis(report.timelabel), laneAxis(lanes.map((lane) => lane.name), 76)],
    series: lanes.map((lane) => ({
      label: lane.label,
      paths: () => null,
      points: { show: false },
      value: (plot, value) => (value == null ? "–" : lane.names[value]),
    })),
    hooks: { drawAxes: [laneHook(lanes.length, drawLane)] },
  }, lanes.map((lane) => lane.values));
})();
