// Engine3D page: runs the WebAssembly web host, blits its 5-5-5 frame buffer
// into the canvas every animation frame and forwards mouse and keys.
// Query options: ?script=TOKENS plays a session (see script.js) at a fixed
// 1/60 s step, leaves the last canvas in window.e3dResult and goes live;
// ?bench=N times N frames back to back in batches (mean, median and best
// milliseconds of drawing per frame, the drawing-only frame rate, the cost of
// one blit), then runs the live loop for two seconds.
(function () {
  'use strict';
  const canvas = document.getElementById('view');
  const status = document.getElementById('status');
  const ctx = canvas.getContext('2d', { alpha: false });
  const params = new URLSearchParams(location.search);
  const kBenchBatch = 10; // frames per timed batch

  // 5-5-5 to canvas RGBA (little-endian words: 0xAABBGGRR); channels widened
  // by repeating their top bits, so 31 becomes 255.
  const palette = new Uint32Array(32768);
  for (let p = 0; p < 32768; ++p) {
    const w = (c) => (c << 3) | (c >> 2);
    palette[p] = 0xff000000 | (w(p & 31) << 16) | (w((p >> 5) & 31) << 8) | w(p >> 10);
  }

  function finish(result) {
    window.e3dResult = result;
    const out = document.getElementById('result');
    out.textContent = JSON.stringify(result);
  }

  createEngine3D().then((engine) => {
    if (!engine._WebHostStart()) throw new Error('the engine did not start');
    const width = engine._WebHostWidth(), height = engine._WebHostHeight();
    const image = ctx.createImageData(width, height);
    const rgba = new Uint32Array(image.data.buffer);

    function blit() {
      const at = engine._WebHostPixels() >> 1;
      const pixels = engine.HEAPU16; // re-read: memory growth replaces it
      for (let i = 0; i < rgba.length; ++i) rgba[i] = palette[pixels[at + i] & 0x7fff];
      ctx.putImageData(image, 0, 0);
    }

    function frame(seconds) {
      const t0 = performance.now();
      engine._WebHostFrame(seconds);
      const t1 = performance.now();
      blit();
      return t1 - t0;
    }

    function describe() {
      const s = engine._WebHostState();
      return (s & 1 ? 'depth buffer' : "painter's sort") + ' · ' + ['', 'solid', 'wire', 'dots'][(s >> 4) & 3] +
        ' · lights ' + (s & 2 ? 'on' : 'off') + (s & 4 ? ' · paused' : '');
    }

    // Live input.
    let dragging = false;
    canvas.addEventListener('pointerdown', (e) => {
      if (e.button !== 0) return;
      dragging = true;
      canvas.setPointerCapture(e.pointerId);
      canvas.focus();
    });
    canvas.addEventListener('pointerup', () => { dragging = false; });
    canvas.addEventListener('pointermove', (e) => {
      if (dragging) engine._WebHostDrag(e.movementX, e.movementY);
    });
    canvas.addEventListener('wheel', (e) => {
      e.preventDefault();
      engine._WebHostWheel(e.deltaY < 0 ? 1 : e.deltaY > 0 ? -1 : 0);
    }, { passive: false });
    window.addEventListener('keydown', (e) => {
      const key = e.key === ' ' ? 32 : e.key.length === 1 ? e.key.toUpperCase().charCodeAt(0) : 0;
      if (key && engine._WebHostKey(key)) e.preventDefault();
    });

    // The live loop: real time between frames, a frames-per-second readout
    // refreshed twice a second, with the engine's own share of each frame.
    function live(onTick) {
      let last = null, shown = performance.now(), frames = 0, work = 0;
      const stats = { frames: 0, elapsed: 0, work: 0 };
      function tick(now) {
        const dt = last === null ? 0 : Math.min((now - last) / 1000, 0.1);
        last = now;
        work += frame(dt);
        ++frames;
        if (now - shown >= 500) {
          status.textContent = (1000 * frames / (now - shown)).toFixed(1) + ' fps · ' + (work / frames).toFixed(2) +
            ' ms drawing · ' + describe();
          stats.frames += frames; stats.elapsed += now - shown; stats.work += work;
          shown = now; frames = 0; work = 0;
        }
        if (!onTick || onTick(stats)) requestAnimationFrame(tick);
      }
      requestAnimationFrame(tick);
    }

    if (params.has('script')) {
      const events = E3DScript.parseScript(params.get('script'));
      let next = 0, left = 0, frames = 0;
      function step() {
        if (left === 0) {
          while (next < events.length && E3DScript.applyInput(engine, events[next])) ++next;
          if (next === events.length) {
            const data = ctx.getImageData(0, 0, width, height).data;
            let bytes = '';
            for (let i = 0; i < data.length; i += 8192) bytes += String.fromCharCode.apply(null, data.subarray(i, i + 8192));
            status.textContent = 'script done after ' + frames + ' frames · ' + describe();
            finish({ frames, width, height, rgba: btoa(bytes) });
            live(); // the session over, the page is the user's
            return;
          }
          left = events[next++].count;
        }
        frame(E3DScript.kStep);
        --left;
        ++frames;
        requestAnimationFrame(step);
      }
      requestAnimationFrame(step);
    } else if (params.has('bench')) {
      // Warm up long enough for the browser to finish optimising the module,
      // then time batches of frames: a batch outlasts the coarse clock a page
      // gets, and the median batch shrugs off a busy machine.
      const n = Math.max(1, parseInt(params.get('bench'), 10) || 100);
      for (let i = 0; i < 300; ++i) engine._WebHostFrame(0);
      const perFrame = [];
      let total = 0;
      for (let i = 0; i < n; i += kBenchBatch) {
        const k = Math.min(kBenchBatch, n - i);
        const t0 = performance.now();
        for (let j = 0; j < k; ++j) engine._WebHostFrame(0);
        const t = performance.now() - t0;
        total += t;
        perFrame.push(t / k);
      }
      perFrame.sort((a, b) => a - b);
      const drawMs = total / n, medianMs = perFrame[perFrame.length >> 1], bestMs = perFrame[0];
      const t0 = performance.now();
      for (let i = 0; i < kBenchBatch; ++i) blit();
      const blitMs = (performance.now() - t0) / kBenchBatch;
      live((stats) => {
        if (stats.elapsed < 2000) return true;
        finish({ frames: n, drawMs, medianMs, bestMs, fps: 1000 / medianMs, blitMs,
                 liveFps: 1000 * stats.frames / stats.elapsed, liveDrawMs: stats.work / stats.frames });
        return false;
      });
    } else {
      live();
    }
  }).catch((err) => {
    status.textContent = 'error: ' + err.message;
    finish({ error: String(err.message || err) });
  });
})();
