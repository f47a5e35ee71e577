#!/usr/bin/env bash
# Serves the Engine3D page from the WebAssembly build on this machine only.
#   web/serve.sh [port]     (default 8080; builds the wasm preset first if needed)
# then open http://localhost:PORT/ in a browser. Ctrl-C stops the server.
set -euo pipefail
cd "$(dirname "$0")/.."
port="${1:-8080}"
site=build/wasm/web/site
if [ ! -f "$site/engine3d_web.wasm" ]; then
  cmake --preset wasm && cmake --build --preset wasm
fi
echo "Engine3D page: http://localhost:$port/   (Ctrl-C to stop)"
# .wasm is sent as application/wasm so the browser can compile it while it loads.
exec python3 - "$port" "$site" <<'PY'
import functools, http.server, sys
port, root = int(sys.argv[1]), sys.argv[2]
class Handler(http.server.SimpleHTTPRequestHandler):
    extensions_map = dict(http.server.SimpleHTTPRequestHandler.extensions_map, **{".wasm": "application/wasm"})
server = http.server.ThreadingHTTPServer(("127.0.0.1", port), functools.partial(Handler, directory=root))
try:
    server.serve_forever()
except KeyboardInterrupt:
    pass
PY
