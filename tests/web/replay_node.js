// Replays a web-host session in the WebAssembly module under node and writes
// the frame buffer after each run of frames, like examples/web_replay.c.
// usage: node replay_node.js MODULE.js SCRIPT.js 'SCRIPT' OUTPUT
'use strict';
const fs = require('fs');
const path = require('path');

const [modulePath, scriptJs, script, output] = process.argv.slice(2);
const createEngine3D = require(path.resolve(modulePath));
const { kStep, parseScript, applyInput, framePixels } = require(path.resolve(scriptJs));

// The binary is handed over directly: this emscripten would otherwise try
// node's fetch on a file path.
const wasmBinary = fs.readFileSync(path.resolve(modulePath).replace(/\.js$/, '.wasm'));

createEngine3D({ wasmBinary }).then((engine) => {
  if (!engine._WebHostStart()) throw new Error('the engine did not start');
  const chunks = [];
  for (const ev of parseScript(script)) {
    if (applyInput(engine, ev)) continue;
    for (let i = 0; i < ev.count; ++i) engine._WebHostFrame(kStep);
    const pixels = framePixels(engine);
    const bytes = Buffer.alloc(pixels.length * 2);
    pixels.forEach((p, i) => bytes.writeUInt16LE(p, 2 * i));
    chunks.push(bytes);
  }
  engine._WebHostStop();
  fs.writeFileSync(output, Buffer.concat(chunks));
}).catch((err) => {
  console.error(err);
  process.exit(1);
});
