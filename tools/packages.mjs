// Fetches npm packages that third_party/package-lock.json pins.
//
// An archive is used only when its SHA-512 equals the one in the lock file.
//
// Usage: node tools/packages.mjs NAME: unpacks a package into third_party/NAME.

import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

export const thirdParty = path.join(path.dirname(path.dirname(fileURLToPath(import.meta.url))), "third_party");

export function fail(doing, what, remedy) {
    console.error(`error: ${doing}: ${what}`);
    console.error(`       ${remedy}`);
    process.exit(1);
}

// Fetches one package of the lock file, checks it and unpacks the wanted members, by default all; returns the folder
// that holds them.
export function fetchPackage(scratch, name, members = []) {
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

// Puts a finished folder in the place of the one before. It appears at once, so that an interrupted run leaves nothing
// half made.
export function replaceFolder(target, made) {
    fs.rmSync(target, { recursive: true, force: true });
    fs.cpSync(made, target + ".new", { recursive: true });
    fs.renameSync(target + ".new", target);
}

if (fs.realpathSync(process.argv[1]) === fileURLToPath(import.meta.url)) {
    const name = process.argv[2];
    const scratch = fs.mkdtempSync(path.join(os.tmpdir(), "varkle-package-"));
    try {
        console.error(`setup: fetching ${name}`);
        replaceFolder(path.join(thirdParty, name), fetchPackage(scratch, name));
    } finally {
        fs.rmSync(scratch, { recursive: true, force: true });
    }
}
