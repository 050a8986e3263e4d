// The engine in its worker: lines of UCI in both directions.
//
// Where the page is served with the headers that shared memory needs, and the browser gives as much
// of it as the module may grow to, the engine has threads and hears "stop" while it thinks.
// Elsewhere it hears nothing before its answer; then "stop" ends the worker, gives the best move of
// the last line for an answer, and begins with a new worker that is told all options again.

const BASE = new URL("engine/", document.baseURI).href;

// Pages of 64 kB, as the module with threads is linked: browsers set the most aside at once, and
// some phones don't have it.
const SHARED_MEMORY = { initial: 1024, maximum: 16384, shared: true };

export function hasThreads() {
  if (globalThis.crossOriginIsolated !== true) return false;
  try {
    return new WebAssembly.Memory(SHARED_MEMORY).buffer instanceof SharedArrayBuffer;
  } catch {
    return false;
  }
}

// Starts the program in a worker with arguments of its command line. `hear` is called with each
// line that it says, `fail` with a sentence when it can't be had.
export function startProgram(args, threads, hear, fail) {
  const worker = new Worker(new URL("worker.js", BASE));
  worker.onmessage = ({ data }) => (typeof data === "string" ? hear(data) : fail(data.fault));
  worker.onerror = (event) => fail(event.message || "it could not be loaded");
  worker.postMessage({ threads, base: BASE, args });
  return worker;
}

export function createEngine(hear, fail, threads = hasThreads()) {
  const options = new Map(); // by name, the line that set it; for a new worker
  let worker = null;
  let position = "position startpos";
  let thinking = false;
  let best = null; // first move of the last line of a think

  function listen(line) {
    if (line.startsWith("bestmove")) thinking = false;
    const pv = /^info .* pv (\S+)/.exec(line);
    if (pv && !/ multipv ([2-9]|\d\d)/.test(line)) best = pv[1];
    hear(line);
  }

  function begin() {
    worker = startProgram(["-strict"], threads, listen, fail);
    worker.postMessage("uci");
    for (const line of options.values()) worker.postMessage(line);
  }

  function send(line) {
    const option = /^setoption name (\w+)/.exec(line);
    if (option) {
      if (option[1] === "Threads" && !threads) return;
      if (options.get(option[1]) === line) return;
      options.set(option[1], line);
    }
    if (line.startsWith("position")) position = line;
    if (line.startsWith("go")) {
      thinking = true;
      best = null;
    }
    worker.postMessage(line);
  }

  function stop() {
    if (!thinking) return;
    if (threads) {
      worker.postMessage("stop");
      return;
    }
    worker.terminate();
    begin();
    worker.postMessage(position);
    thinking = false;
    hear(`bestmove ${best ?? "(none)"}`);
  }

  begin();
  return { send, stop, threads };
}
