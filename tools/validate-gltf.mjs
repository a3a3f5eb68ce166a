// Reads glTF files with the Khronos validator and prints its errors and warnings, one a line. Exits with 1 when there are
// errors.
//
// Usage: node tools/validate-gltf.mjs FILE...

import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";

import { fail, thirdParty } from "./packages.mjs";

const folder = path.join(thirdParty, "gltf-validator");
if (!fs.existsSync(folder))
    fail("starting the glTF validator", `there is no ${folder}.`, "Run tools/setup, then run the command again.");
const validator = createRequire(import.meta.url)(folder);
const severities = ["error", "warning"]; // by number; information and hints follow

async function validate(file) {
    const options = {
        maxIssues: 0, // no limit: what comes first could hide an error
        externalResourceFunction: async uri =>
            new Uint8Array(await fs.promises.readFile(path.join(path.dirname(file), decodeURIComponent(uri)))),
    };
    try {
        const report = await validator.validateBytes(new Uint8Array(fs.readFileSync(file)), options);
        return report.issues.messages;
    } catch (problem) { // no file, or nothing like glTF
        return [{ severity: 0, code: "UNREADABLE", message: String(problem.message ?? problem) }];
    }
}

for (const file of process.argv.slice(2)) {
    for (const { severity, code, pointer, message } of await validate(file)) {
        if (severity >= severities.length)
            continue;
        console.log(`${severities[severity]}: ${file}: ${[code, pointer].filter(Boolean).join(" ")}: ${message}`);
        if (severity === 0)
            process.exitCode = 1;
    }
}
