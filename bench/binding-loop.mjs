// Generates with llama.cpp through its best-known JavaScript binding, as that binding's
// documentation suggests. Reads one generation's prompt and length from each line of its input and
// answers with a line that has the time.
//   node binding-loop.mjs FOLDER-WITH-THE-BINDING MODEL

import path from "node:path";
import readline from "node:readline";
import { pathToFileURL } from "node:url";

const [folder, modelPath] = process.argv.slice(2);
const entry = path.join(folder, "node_modules/node-llama-cpp/dist/index.js");
const { getLlama } = await import(pathToFileURL(entry).href);

// One thread per core. The default is at least four, like the library's own, but the binding's
// backends are built without OpenMP: with fewer cores, their threads wait for each other by
// spinning, which makes them fifty times slower.
const llama = await getLlama({
    build: "never",
    gpu: process.platform === "darwin" ? "auto" : false,
    maxThreads: 0,
    logLevel: "disabled",
});
const model = await llama.loadModel({ modelPath });
const context = await model.createContext({ batchSize: 512, contextSize: 4096 });
const sequence = context.getSequence();

async function generate({ prompt, count }) {
    await sequence.clearHistory();
    const start = performance.now();
    let first = 0;
    let last = 0;
    let left = count;
    for await (const token of sequence.evaluate(prompt, { temperature: 0.2, topK: 40 })) {
        model.detokenize([token]);
        last = performance.now();
        first ||= last;
        if (--left === 0)
            break;
    }
    if (left > 0)
        throw new Error("The model ended its reply early.");
    return {
        promptSeconds: (first - start) / 1000,
        tokenSeconds: (last - first) / 1000 / (count - 1),
        wholeSeconds: (performance.now() - start) / 1000,
    };
}

for await (const line of readline.createInterface({ input: process.stdin }))
    console.log(JSON.stringify(await generate(JSON.parse(line))));
process.exit(0);
