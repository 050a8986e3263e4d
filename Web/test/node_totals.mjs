// The engine's modules in node: their node totals are those that the tests of the engine hold.

import { BENCHMARKS, startModule, totalIn } from "./benchmarks.mjs";

const total = (name, args) => new Promise((resolve, reject) => {
  const print = (line) => {
    const found = totalIn(line);
    if (found) resolve(found);
  };
  startModule(name, args, print).catch(reject);
});

let failed = false;
for (const name of ["mird", "mird-threads"])
  for (const { args, expected } of BENCHMARKS) {
    const { nodes, speed } = await total(name, args);
    const good = nodes === expected;
    console.log(`${good ? "ok" : "FAILED"}: ${name} in node, ${args.join(" ")}: ${nodes} nodes, `
      + `${speed} a second`);
    failed ||= !good;
  }
process.exit(failed ? 1 : 0);
