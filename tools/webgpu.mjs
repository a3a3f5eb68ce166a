// Unpacks the pinned WebGPU build into third_party/webgpu: the Dawn library, the headers that match it, their licences.
//
// Three npm packages make one build. bun-webgpu-linux-x64 carries Dawn as a shared library with the whole C API.
// react-native-wgpu carries the C and C++ headers, a few weeks newer than that library. bun-webgpu carries, in index.js,
// the enumerations that the library was built with. Every struct and function that we use agrees between header and
// library, but the numbers of WGPUTextureFormat and WGPUFeatureName moved in between: these two enumerations are
// rewritten in the headers with the numbers from index.js. Enumerators that the library lacks get values it rejects.
// WGPUInstanceDescriptor differs too; host/gpu/src/Device.cpp passes the library's own form.
//
// The archives are fetched by name and version and used only when their SHA-512 equals the one in package-lock.json.
//
// Usage: node tools/webgpu.mjs

import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

const thirdParty = path.join(path.dirname(path.dirname(fileURLToPath(import.meta.url))), "third_party");
const target = path.join(thirdParty, "webgpu");
const headers = ["webgpu.h", "webgpu_cpp.h", "webgpu_cpp_chained_struct.h", "webgpu_cpp_print.h",
    "webgpu_enum_class_bitmasks.h"];

function fail(doing, what, remedy) {
    console.error(`error: ${doing}: ${what}`);
    console.error(`       ${remedy}`);
    process.exit(1);
}

// Fetches one package of the lock file, checks it and unpacks the wanted members; returns the folder that holds them.
function fetchPackage(scratch, name, members) {
    const lock = JSON.parse(fs.readFileSync(path.join(thirdParty, "package-lock.json"), "utf8"));
    const { version, integrity } = lock.packages[`node_modules/${name}`];
    let archive;
    try {
        const output = execFileSync("npm", ["pack", "--loglevel=error", `${name}@${version}`],
            { cwd: scratch, encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] });
        archive = path.join(scratch, output.trim().split("\n").pop());
    } catch (error) {
        const reasons = (error.stderr || error.message).split("\n").map(line => line.replace(/^npm (ERR!|error) ?/, ""));
        fail(`fetching ${name} ${version} with npm`, reasons.filter(line => line.trim()).slice(0, 3).join("; "),
            "Check that npm reaches its registry (try: npm ping), then run the command again.");
    }
    const digest = "sha512-" + createHash("sha512").update(fs.readFileSync(archive)).digest("base64");
    if (digest !== integrity)
        fail(`checking ${name} ${version}`, `its digest is ${digest}, third_party/package-lock.json says ${integrity}.`,
            "The archive is not the pinned one: look at what served it before you use it.");
    const folder = path.join(scratch, name);
    fs.mkdirSync(folder);
    execFileSync("tar", ["-xzf", archive, "-C", folder, "--strip-components=1", ...members.map(m => `package/${m}`)]);
    return folder;
}

// Reads `var <variable> = defineEnum({ name: number, ... })` into a map from the bare name (no case, '-', '_').
function enumeration(script, variable) {
    const body = new RegExp(`var ${variable} = defineEnum\\(\\{([^}]*)\\}`).exec(script);
    if (!body)
        fail("reading the enumerations of the WebGPU library", `index.js has no ${variable}.`,
            "The pinned packages don't fit this script: restore third_party/package-lock.json.");
    const numbers = new Map();
    for (const [, name, number] of body[1].matchAll(/"?([\w-]+)"?\s*:\s*(\d+)/g))
        numbers.set(bare(name), Number(number));
    return numbers;
}

function bare(name) {
    return name.toLowerCase().replace(/[-_]/g, "");
}

// Gives the enumerators of one C enumeration the library's numbers, unknown ones numbers that it rejects.
function renumber(header, type, numbers) {
    let unknown = 0x7f000000;
    const enumerators = new RegExp(`(    ${type}_(\\w+) = )0x[0-9A-Fa-f]{8}`, "g");
    return header.replace(enumerators, (whole, start, name) => {
        if (name === "Force32")
            return whole;
        const number = numbers.get(bare(name)) ?? unknown++;
        return start + "0x" + number.toString(16).toUpperCase().padStart(8, "0");
    });
}

const scratch = fs.mkdtempSync(path.join(os.tmpdir(), "varkle-webgpu-"));
try {
    console.error("setup: fetching the pinned WebGPU build (about 53 MB)");
    const library = fetchPackage(scratch, "bun-webgpu-linux-x64", ["libwebgpu_wrapper.so", "LICENSE"]);
    const script = fetchPackage(scratch, "bun-webgpu", ["index.js"]);
    const sources = fetchPackage(scratch, "react-native-wgpu", [...headers.map(h => `cpp/webgpu/${h}`), "LICENSE"]);

    const made = path.join(scratch, "made");
    fs.mkdirSync(path.join(made, "include/webgpu"), { recursive: true });
    fs.mkdirSync(path.join(made, "lib"));
    const index = fs.readFileSync(path.join(script, "index.js"), "utf8");
    for (const name of headers) {
        let text = fs.readFileSync(path.join(sources, "cpp/webgpu", name), "utf8");
        if (name === "webgpu.h") {
            text = renumber(text, "WGPUTextureFormat", enumeration(index, "WGPUTextureFormat"));
            text = renumber(text, "WGPUFeatureName", enumeration(index, "WGPUFeatureNameDef"));
        }
        fs.writeFileSync(path.join(made, "include/webgpu", name), text);
    }
    fs.copyFileSync(path.join(library, "libwebgpu_wrapper.so"), path.join(made, "lib/libwebgpu_wrapper.so"));
    fs.copyFileSync(path.join(library, "LICENSE"), path.join(made, "LICENSE.library"));
    fs.copyFileSync(path.join(sources, "LICENSE"), path.join(made, "LICENSE.headers"));

    // The finished folder appears at once, so that an interrupted run leaves nothing half made.
    fs.rmSync(target, { recursive: true, force: true });
    fs.cpSync(made, target + ".new", { recursive: true });
    fs.renameSync(target + ".new", target);
} finally {
    fs.rmSync(scratch, { recursive: true, force: true });
}
