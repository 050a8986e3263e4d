// The benchmarks whose node totals hold on every platform.

import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

export const root = join(dirname(fileURLToPath(import.meta.url)), "..", "..");

// As the engine's own test tells them, by hand first.
const test = readFileSync(join(root, "Tests", "bench_test.cpp"), "utf8");
const [byHand, byNetwork] = [...test.matchAll(/nodes= (\d+),/g)].map((found) => Number(found[1]));

export const BENCHMARKS = [
  { args: ["-pbench", "-d", "10", "-use_hce"], expected: byHand },
  { args: ["-pbench", "-d", "10"], expected: byNetwork },
];

// What the last line of a benchmark tells, or null for another line.
export function totalIn(line) {
  const found = /nodes= (\d+), nps= (\d+)/.exec(line);
  return found && { nodes: Number(found[1]), speed: Number(found[2]) };
}

// Starts a module in node with arguments; `print` gets its lines. Resolves to the module.
export function startModule(name, args, print) {
  const path = (kind) => join(root, "build", "web", "engine", `${name}.${kind}`);
  const load = createRequire(import.meta.url)(path("js"));
  // A module of an older Emscripten takes node for a browser, which fetches by addresses.
  const wasmBinary = readFileSync(path("wasm"));
  return load({ wasmBinary, arguments: args, print, printErr: (line) => console.error(line) });
}
