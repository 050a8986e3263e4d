// The worker that the engine runs in. Messages are lines of its input and output, but for the first
// one, which is { threads, base, args }: whether to take the module with threads, where the modules
// are, and the arguments of the command line. A record { fault } tells that there is no engine.

"use strict";

let engine = null;
let threads = false;
const early = []; // lines that came before the engine was there

function hear(line) {
  if (threads) {
    engine.ccall("mird_hear", null, ["string"], [line + "\n"]);
    return;
  }
  // The engine leaves by this exception when it waits for the next line.
  const stack = engine.stackSave();
  try {
    engine.ccall("mird_hear", null, ["string"], [line + "\n"]);
  } catch (thrown) {
    if (thrown !== "unwind") throw thrown;
  }
  engine.stackRestore(stack);
}

async function begin(settings) {
  threads = settings.threads;
  const script = new URL(threads ? "mird-threads.js" : "mird.js", settings.base).href;
  importScripts(script);
  engine = await self.Mird({
    mainScriptUrlOrBlob: script,
    locateFile: (name) => new URL(name, settings.base).href,
    arguments: settings.args,
    print: (line) => postMessage(line),
    printErr: (line) => console.warn(line),
  });
  for (const line of early) hear(line);
  early.length = 0;
}

onmessage = ({ data }) => {
  if (typeof data !== "string") begin(data).catch((fault) => postMessage({ fault: String(fault) }));
  else if (engine) hear(data);
  else early.push(data);
};
