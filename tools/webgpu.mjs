// Unpacks the pinned WebGPU build into third_party/webgpu: the Dawn library, the headers that match it, their licences.
//
// Three npm packages make one build. bun-webgpu-linux-x64 carries Dawn as a shared library with the whole C API.
// react-native-wgpu carries the C and C++ headers, a few weeks newer than that library. bun-webgpu carries, in index.js,
// the enumerations that the library was built with. Every struct and function that we use agrees between header and
// library, but the numbers of WGPUTextureFormat and WGPUFeatureName moved in between: these two enumerations are
// rewritten in the headers with the numbers from index.js. Enumerators that the library lacks get values it rejects.
// WGPUInstanceDescriptor differs too; host/gpu/src/device/Adapters.cpp passes the library's own form.
//
// Usage: node tools/webgpu.mjs

import fs from "node:fs";
import os from "node:os";
import path from "node:path";

import { fail, fetchPackage, replaceFolder, thirdParty } from "./packages.mjs";

const headers = ["webgpu.h", "webgpu_cpp.h", "webgpu_cpp_chained_struct.h", "webgpu_cpp_print.h",
    "webgpu_enum_class_bitmasks.h"];

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

    replaceFolder(path.join(thirdParty, "webgpu"), made);
} finally {
    fs.rmSync(scratch, { recursive: true, force: true });
}
