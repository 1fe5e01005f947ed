// SPDX-License-Identifier: MIT
// The same snapshot as a JavaScript program would take it: each line of standard input is a
// number of fetches to make at once; the answer is the milliseconds that they and the parsing
// of their bodies took.
'use strict';
const address = process.argv[2];
const headers = { Authorization: 'Bearer token' };

async function sessions() {
  const response = await fetch(address, { headers });
  if (response.status !== 200) throw new Error(`status ${response.status}`);
  return (await response.json()).sessions;
}

async function main() {
  for await (const line of require('readline').createInterface({ input: process.stdin })) {
    const begin = performance.now();
    const lists = await Promise.all(Array.from({ length: Number(line) }, sessions));
    if (lists.flat().length < Number(line)) throw new Error('no sessions');
    console.log(performance.now() - begin);
  }
}

main().catch((error) => {
  console.error(error);
  process.exit(1);
});
