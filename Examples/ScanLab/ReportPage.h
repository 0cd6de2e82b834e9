// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The parts of the report that are the same in every page.
#pragma once

namespace ScanLab {

inline constexpr wchar_t const* reportHead =
    LR"page(<style>
body { font-family: sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em; color: #222; }
table { border-collapse: collapse; } td, th { padding: .2em .8em; border-bottom: 1px solid #ccc; text-align: left; }
td.number { text-align: right; font-variant-numeric: tabular-nums; }
.map { display: flex; gap: 1em; } .map canvas { flex: 1; min-width: 0; height: 30em; border: 1px solid #ccc; cursor: grab; }
.map svg { width: 9em; height: 30em; } .caption { color: #666; font-size: 90%; } pre { background: #f4f4f0; padding: 1em; }
</style>
)page";

// Each map is a canvas with its data in `maps`: n points as x, y, z (about the middle, in sizes of the box) and deviation.
// It looks along the shortest side of the box at first. Far points are drawn first.
inline constexpr wchar_t const* reportScript =
    LR"page(<script>
"use strict";
function color(map, value) {
  const t = Math.max(-1, Math.min(1, value / map.limit)), to = t < 0 ? map.colors[0] : map.colors[2];
  return "rgb(" + map.colors[1].map((c, i) => Math.round(c + (to[i] - c) * Math.abs(t))).join(",") + ")";
}
function show(map, index) {
  const canvas = document.getElementById("map" + index), context = canvas.getContext("2d"), count = map.points.length / 4;
  const colors = [];
  for (let i = 0; i < count; ++i) colors.push(color(map, map.points[4 * i + 3]));
  let u = map.axes[0], v = map.axes[1], zoom = 1, shown = [];
  function cross(a, b) { return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]]; }
  function draw() {
    const w = cross(u, v), width = canvas.width = canvas.clientWidth * devicePixelRatio,
      height = canvas.height = canvas.clientHeight * devicePixelRatio;
    let wide = 1e-9, tall = 1e-9;
    for (let c = 0; c < 8; ++c) {
      const k = [0, 1, 2].map(i => (c >> i & 1 ? .5 : -.5) * map.size[i]);
      wide = Math.max(wide, 2 * Math.abs(k[0] * u[0] + k[1] * u[1] + k[2] * u[2]));
      tall = Math.max(tall, 2 * Math.abs(k[0] * v[0] + k[1] * v[1] + k[2] * v[2]));
    }
    const scale = .94 * zoom * Math.min(width / wide, height / tall), p = map.points;
    const dot = Math.max(1.5, .8 * scale * Math.sqrt(wide * tall / count) / zoom ** .5);
    shown = [];
    for (let i = 0; i < count; ++i) {
      const x = p[4 * i], y = p[4 * i + 1], z = p[4 * i + 2];
      shown.push([width / 2 + scale * (x * u[0] + y * u[1] + z * u[2]), height / 2 - scale * (x * v[0] + y * v[1] + z * v[2]),
        x * w[0] + y * w[1] + z * w[2], i]);
    }
    shown.sort((a, b) => a[2] - b[2]);
    for (const s of shown) {
      context.fillStyle = colors[s[3]];
      context.fillRect(s[0] - dot / 2, s[1] - dot / 2, dot, dot);
    }
    document.getElementById("drawn" + index).textContent = count + " of " + map.all + " points drawn";
  }
  let last = null;
  canvas.onpointerdown = e => { last = [e.clientX, e.clientY]; canvas.setPointerCapture(e.pointerId); };
  canvas.onpointerup = () => { last = null; };
  canvas.onpointermove = e => {
    if (last) {
      const a = (e.clientX - last[0]) / 150, b = (e.clientY - last[1]) / 150, w = cross(u, v);
      const turn = (p, q, t) => p.map((c, i) => c * Math.cos(t) + q[i] * Math.sin(t));
      u = turn(u, w, -a);
      v = turn(v, cross(u, v), b);
      last = [e.clientX, e.clientY];
      draw();
      return;
    }
    const at = [e.offsetX * devicePixelRatio, e.offsetY * devicePixelRatio];
    let best = 100, found = -1;
    for (const s of shown) {
      const d = (s[0] - at[0]) ** 2 + (s[1] - at[1]) ** 2;
      if (d <= best) { best = d; found = s[3]; }
    }
    document.getElementById("value" + index).textContent =
      found < 0 ? "" : "deviation " + map.points[4 * found + 3] + " " + map.unit;
  };
  canvas.addEventListener("wheel", e => { e.preventDefault(); zoom *= Math.exp(-e.deltaY / 500); draw(); }, { passive: false });
  canvas.ondblclick = () => { u = map.axes[0]; v = map.axes[1]; zoom = 1; draw(); };
  addEventListener("resize", draw);
  draw();
}
maps.forEach(show);
</script>
)page";

}  // namespace ScanLab
