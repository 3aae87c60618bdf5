// The npm filter engine's side of scripts/versus-npm.sh: loads the domains
// as "||domain^" rules, then judges every address as a page request, three
// times, and prints the best time of the matching alone, in seconds, on
// standard error. The verdicts go to standard output, "blocked" or
// "allowed", one a line, in the addresses' order.
//
//   node versus-npm.mjs DOMAINS ADDRESSES
import { readFileSync, writeSync } from 'node:fs';
import { FiltersEngine, Request } from '@ghostery/adblocker';

const [domainsFile, addressesFile] = process.argv.slice(2);
const lines = (file) => readFileSync(file, 'utf8').split('\n').filter((line) => line.length > 0);
const rules = lines(domainsFile).map((domain) => `||${domain}^`).join('\n');
const engine = FiltersEngine.parse(rules, { loadCosmeticFilters: false });
const addresses = lines(addressesFile);

let best = Infinity;
let verdicts = null;
for (let round = 0; round < 3; ++round) {
  const blocked = new Uint8Array(addresses.length);
  const start = process.hrtime.bigint();
  for (let i = 0; i < addresses.length; ++i) {
    blocked[i] = engine.match(Request.fromRawDetails({ url: addresses[i], type: 'main_frame' })).match ? 1 : 0;
  }
  best = Math.min(best, Number(process.hrtime.bigint() - start) / 1e9);
  verdicts = blocked;
}
process.stderr.write(`${best.toFixed(3)}\n`);
const out = Buffer.from(Array.from(verdicts, (b) => (b ? 'blocked' : 'allowed')).join('\n') + '\n');
for (let at = 0; at < out.length; ) at += writeSync(1, out, at);
