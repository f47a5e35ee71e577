// Session scripts for the Engine3D page and its replay checks: space-separated
// tokens, fN renders N frames of 1/60 s and then takes a snapshot, dX,Y drags,
// wN turns the wheel N notches, kC presses key C (k_ is Space). The native
// replay driver (examples/web_replay.c) reads the same language.
(function (root) {
  'use strict';
  const kStep = 1 / 60;

  function parseScript(text) {
    const events = [];
    for (const token of text.trim().split(/\s+/)) {
      if (!token) continue;
      let m;
      if ((m = /^f(\d+)$/.exec(token)) && +m[1] >= 1) events.push({ op: 'frames', count: +m[1] });
      else if ((m = /^d(-?[\d.]+),(-?[\d.]+)$/.exec(token))) events.push({ op: 'drag', dx: +m[1], dy: +m[2] });
      else if ((m = /^w(-?\d+)$/.exec(token))) events.push({ op: 'wheel', notches: +m[1] });
      else if ((m = /^k(.)$/.exec(token))) events.push({ op: 'key', key: m[1] === '_' ? 32 : m[1].charCodeAt(0) });
      else throw new Error('bad script token: ' + token);
    }
    return events;
  }

  // Applies one input event to the module; false for frame runs.
  function applyInput(engine, ev) {
    if (ev.op === 'drag') engine._WebHostDrag(ev.dx, ev.dy);
    else if (ev.op === 'wheel') engine._WebHostWheel(ev.notches);
    else if (ev.op === 'key') {
      if (!engine._WebHostKey(ev.key)) throw new Error('key not handled: ' + ev.key);
    } else return false;
    return true;
  }

  // The frame buffer as a fresh array of 5-5-5 pixels.
  function framePixels(engine) {
    const n = engine._WebHostWidth() * engine._WebHostHeight();
    const at = engine._WebHostPixels() >> 1;
    return engine.HEAPU16.slice(at, at + n);
  }

  const api = { kStep, parseScript, applyInput, framePixels };
  if (typeof module !== 'undefined' && module.exports) module.exports = api;
  else root.E3DScript = api;
})(typeof window !== 'undefined' ? window : globalThis);
