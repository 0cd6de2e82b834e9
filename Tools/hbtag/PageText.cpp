// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The page around the data. The points are drawn with WebGL where the browser has it, else as squares on a plain canvas.
#include "Page.h"

namespace hbtag {

std::string_view const pageHead = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>tag file</title>
<style>
body { margin: 0; font: 14px/1.5 sans-serif; display: flex; height: 100vh; color: #222; }
#left { width: 45%; overflow: auto; padding: 12px 16px; box-sizing: border-box; border-right: 1px solid #ccc; }
#right { flex: 1; display: flex; flex-direction: column; min-width: 0; }
#bar { padding: 8px 12px; border-bottom: 1px solid #ccc; display: flex; gap: 12px; flex-wrap: wrap; align-items: center; }
#stage { flex: 1; position: relative; min-height: 0; background: #181a1f; }
canvas { position: absolute; inset: 0; width: 100%; height: 100%; touch-action: none; }
h1 { font-size: 18px; margin: 0 0 4px; overflow-wrap: anywhere; }
table { border-collapse: collapse; margin: 8px 0; }
td { padding: 0 12px 0 0; vertical-align: top; }
td:first-child { color: #666; }
details, .leaf { margin-left: 14px; }
summary { cursor: pointer; margin-left: -14px; }
.id { font-weight: bold; } .kind { color: #06c; } .small { color: #777; font-size: 12px; }
.value { white-space: pre-wrap; overflow-wrap: anywhere; margin: 0 0 0 14px; font-family: monospace; font-size: 12px; }
.fault { color: #b00; }
#tree .title { display: none; }
#ramp { width: 160px; height: 12px; background: linear-gradient(90deg,#2b3fbf,#20b0d0,#3fbf3f,#e0d020,#d03020); }
</style>
</head>
<body>
<div id="left"><h1 id="name"></h1><div id="head"></div><div id="faults"></div><div id="tree"></div>
)html";

std::string_view const pageMiddle = R"html(</div>
<div id="right">
<div id="bar"><select id="cloud"></select>
<label>colour <select id="colour"><option value="height">height</option></select></label>
<span id="least"></span><span id="ramp"></span><span id="most"></span><span class="small" id="shown"></span></div>
<div id="stage"><canvas id="view"></canvas></div>
</div>
)html";

std::string_view const pageTail = R"html(<script>
'use strict';
const file = JSON.parse(document.getElementById('file').textContent);
const clouds = JSON.parse(document.getElementById('clouds').textContent);
const $ = id => document.getElementById(id);
const make = (tag, cls, text) => {
  const e = document.createElement(tag);
  if (cls) e.className = cls;
  if (text !== undefined) e.textContent = text;
  return e;
};

// ---- the tree ----
document.title = file.file;
$('name').textContent = file.file;
const rows = [['size', file.size + ' bytes'], ['state', file.state], ['records', file.recordCount]];
if (file.header) {
  const h = file.header;
  rows.push(['header', 'version ' + h.version + ', ' + h.company + ', data type ' + h.dataType + ', element size ' +
    h.elementSize + ', size ' + h.width + ' x ' + h.height], ['written', h.time.replace('T', ' ') || 'no time'],
    ['record form', h.form + ' bits'], ['matrix', h.matrix.map(r => r.join(' ')).join('; ')]);
}
const table = make('table');
for (const [key, value] of rows) {
  const row = table.insertRow();
  row.insertCell().textContent = key;
  row.insertCell().textContent = value;
}
$('head').append(table);
for (const f of file.faults) $('faults').append(make('div', 'fault', f.kind + ' at ' + f.position + ': ' + f.text));

const parents = new Set(file.records.map(r => r.parent));
const deepest = 200;  // browsers flatten elements beyond some hundred: deeper records stand side by side
const text = v => typeof v === 'object' && v !== null ? (Array.isArray(v) ? v.join(' ') : JSON.stringify(v)) : String(v);
function node(r) {
  const folds = parents.has(r.number) && r.depth < deepest;
  const box = make(folds ? 'details' : 'div', folds ? '' : 'leaf');
  if (folds) box.open = r.depth < 3;
  const line = make(folds ? 'summary' : 'div');
  if (r.depth > deepest) line.append('level ' + r.depth + ': ');
  line.append(make('span', 'id', r.id), ' ', make('span', 'kind', r.kind), ' ',
    make('span', 'small', 'at ' + r.position + ', version ' + r.version + ', ' + r.form + ' bits' +
      (r.count > 1 ? ', ' + r.count + (r.kind === 'persistent object' ? ' objects' : ' elements') : '') +
      (r.types ? ', of type ' + r.types.join(' < ') + (r.objectAddress ? ', at address ' + r.objectAddress : '') : '') +
      (r.refersTo !== undefined ? ', refers to the object at ' + r.refersTo : '')));
  box.append(line);
  const values = r.value !== undefined ? [text(r.value)] : (r.values || []).map(text);
  if (values.length) {
    const more = r.count > values.length && r.value === undefined ? '\n... ' + (r.count - values.length) + ' more' : '';
    box.append(make('div', 'value', values.join('\n') + more));
  }
  const cloud = clouds.findIndex(c => c.record === r.number);
  if (cloud >= 0) {
    const show = make('button', '', 'show');
    show.onclick = e => { e.preventDefault(); $('cloud').value = cloud; choose(); };
    line.append(' ', show);
  }
  const objects = $('objects-' + r.number);
  if (objects) box.append(objects);
  return box;
}
const places = new Map([[-1, $('tree')]]);  // where the records below each one go
for (const r of file.records) {
  const place = places.get(r.parent) || $('tree'), box = node(r);
  place.append(box);
  if (parents.has(r.number)) places.set(r.number, r.depth < deepest ? box : place);
}

// ---- the points ----
const floats = base64 => {
  const bytes = Uint8Array.from(atob(base64), c => c.charCodeAt(0));
  return new Float32Array(bytes.buffer);
};
const stops = [[43, 63, 191], [32, 176, 208], [63, 191, 63], [224, 208, 32], [208, 48, 32]];
const ramp = t => {
  if (Number.isNaN(t)) return [0.5, 0.5, 0.5];  // no deviation
  const x = Math.min(Math.max(t, 0), 1) * 4, i = Math.min(Math.floor(x), 3), f = x - i;
  return stops[i].map((c, k) => (c + (stops[i + 1][k] - c) * f) / 255);
};
const canvas = $('view');
const gl = canvas.getContext('webgl');
const plane = gl ? null : canvas.getContext('2d');
const view = { yaw: 0.6, pitch: 1.0, zoom: 1, x: 0, y: 0 };
let points = new Float32Array(), colours = new Float32Array(), radius = 1, program, pointBuffer, colourBuffer;

if (gl) {
  const shader = (kind, source) => {
    const s = gl.createShader(kind);
    gl.shaderSource(s, source);
    gl.compileShader(s);
    return s;
  };
  program = gl.createProgram();
  gl.attachShader(program, shader(gl.VERTEX_SHADER,
    'attribute vec3 p; attribute vec3 c; uniform mat3 turn; uniform vec4 scale; uniform float size; varying vec3 colour;' +
    'void main() { vec3 q = turn * p; gl_Position = vec4(q.x * scale.x + scale.z, q.y * scale.y + scale.w, -q.z * 0.4 * scale.y, 1.0);' +
    'gl_PointSize = size; colour = c; }'));
  gl.attachShader(program, shader(gl.FRAGMENT_SHADER,
    'precision mediump float; varying vec3 colour; void main() { gl_FragColor = vec4(colour, 1.0); }'));
  gl.linkProgram(program);
  gl.useProgram(program);
  gl.enable(gl.DEPTH_TEST);
  pointBuffer = gl.createBuffer();
  colourBuffer = gl.createBuffer();
}

function turned() {
  const cy = Math.cos(view.yaw), sy = Math.sin(view.yaw), cp = Math.cos(view.pitch), sp = Math.sin(view.pitch);
  return [[cy, sy, 0], [-sy * cp, cy * cp, sp], [sy * sp, -cy * sp, cp]];
}
function draw() {
  const width = canvas.width = canvas.clientWidth, height = canvas.height = canvas.clientHeight;
  const m = turned(), unit = view.zoom * 0.9 / radius, side = Math.min(width, height);
  if (gl) {
    gl.viewport(0, 0, width, height);
    gl.clearColor(0.094, 0.102, 0.122, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    const use = (name, buffer) => {
      const place = gl.getAttribLocation(program, name);
      gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
      gl.enableVertexAttribArray(place);
      gl.vertexAttribPointer(place, 3, gl.FLOAT, false, 0, 0);
    };
    use('p', pointBuffer);
    use('c', colourBuffer);
    gl.uniformMatrix3fv(gl.getUniformLocation(program, 'turn'), false,
      [m[0][0], m[1][0], m[2][0], m[0][1], m[1][1], m[2][1], m[0][2], m[1][2], m[2][2]]);
    gl.uniform4f(gl.getUniformLocation(program, 'scale'), unit * side / width, unit * side / height, view.x, view.y);
    gl.uniform1f(gl.getUniformLocation(program, 'size'), Math.max(1.5, Math.min(6, 600 * view.zoom / Math.sqrt(points.length / 3 + 1))));
    gl.drawArrays(gl.POINTS, 0, points.length / 3);
    return;
  }
  plane.fillStyle = '#181a1f';
  plane.fillRect(0, 0, width, height);
  const step = 3 * Math.max(1, Math.ceil(points.length / 3 / 30000));
  for (let i = 0; i < points.length; i += step) {
    const x = m[0][0] * points[i] + m[0][1] * points[i + 1], y = m[1][0] * points[i] + m[1][1] * points[i + 1] + m[1][2] * points[i + 2];
    plane.fillStyle = 'rgb(' + [0, 1, 2].map(k => Math.round(255 * colours[i + k])).join() + ')';
    plane.fillRect(width / 2 + (x * unit * side + view.x * width) / 2, height / 2 - (y * unit * side + view.y * height) / 2, 2, 2);
  }
}
function paint() {
  const cloud = clouds[$('cloud').value];
  const deviation = $('colour').value === 'deviation';
  const values = deviation ? floats(cloud.values) : Float32Array.from({ length: points.length / 3 }, (_, i) => points[3 * i + 2] + cloud.center[2]);
  let least = Infinity, most = -Infinity;
  if (deviation) {  // three sigma to each side of the mean: what lies beyond has the colours of the ends
    const known = values.filter(Number.isFinite);
    let n = 0, mean = 0, square = 0;
    for (const v of known) { n++; const d = v - mean; mean += d / n; square += d * (v - mean); }
    let sigma = Math.sqrt(square / Math.max(n, 1));
    for (let pass = 0; pass < 4; pass++) {
      let m = 0, k = 0, s = 0;
      for (const v of known) if (Math.abs(v - mean) <= 3 * sigma) { k++; const d = v - m; m += d / k; s += d * (v - m); }
      mean = m; sigma = Math.sqrt(s / Math.max(k, 1));
    }
    least = mean - 3 * sigma; most = mean + 3 * sigma;
  } else {
    least = cloud.low; most = cloud.high;
  }
  colours = new Float32Array(points.length);
  values.forEach((v, i) => colours.set(ramp((v - least) / (most - least || 1)), 3 * i));
  $('least').textContent = least.toPrecision(4);
  $('most').textContent = most.toPrecision(4);
  if (gl) { gl.bindBuffer(gl.ARRAY_BUFFER, colourBuffer); gl.bufferData(gl.ARRAY_BUFFER, colours, gl.STATIC_DRAW); }
  draw();
}
function choose() {
  const cloud = clouds[$('cloud').value];
  if (!cloud) return;
  points = floats(cloud.points);
  radius = 1e-30;
  for (let i = 0; i < points.length; i += 3) radius = Math.max(radius, Math.hypot(points[i], points[i + 1], points[i + 2]));
  $('shown').textContent = cloud.count - cloud.gaps + ' points' + (cloud.gaps ? ', ' + cloud.gaps + ' gaps' : '') + (cloud.step > 1 ? ', one of ' + cloud.step + ' shown' : '');
  const colour = $('colour');
  while (colour.options.length > 1) colour.remove(1);
  if (cloud.values) colour.add(new Option('deviation', 'deviation', false, true));
  if (gl) { gl.bindBuffer(gl.ARRAY_BUFFER, pointBuffer); gl.bufferData(gl.ARRAY_BUFFER, points, gl.STATIC_DRAW); }
  paint();
}
clouds.forEach((c, i) => $('cloud').add(new Option('record ' + c.id + ' at ' + c.position, i)));
$('cloud').onchange = choose;
$('colour').onchange = paint;
let last = null;
canvas.onpointerdown = e => { last = [e.clientX, e.clientY]; canvas.setPointerCapture(e.pointerId); };
canvas.onpointerup = () => { last = null; };
canvas.onpointermove = e => {
  if (!last) return;
  const dx = e.clientX - last[0], dy = e.clientY - last[1];
  last = [e.clientX, e.clientY];
  if (e.shiftKey || e.buttons === 2) { view.x += 2 * dx / canvas.clientWidth; view.y -= 2 * dy / canvas.clientHeight; }
  else { view.yaw += dx * 0.01; view.pitch += dy * 0.01; }
  draw();
};
canvas.oncontextmenu = e => e.preventDefault();
canvas.onwheel = e => { e.preventDefault(); view.zoom *= Math.exp(-e.deltaY * 0.001); draw(); };
canvas.ondblclick = () => { Object.assign(view, { yaw: 0.6, pitch: 1.0, zoom: 1, x: 0, y: 0 }); draw(); };
window.onresize = draw;
if (clouds.length) choose();
else $('bar').textContent = 'no points in this file';
</script>
</body>
</html>
)html";

}  // namespace hbtag
