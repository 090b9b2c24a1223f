// Installs the package that scripts/wasm has packed into an empty project, as its users do.

import { execFileSync } from "node:child_process";
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";

export const sourceFolder = fileURLToPath(new URL("../..", import.meta.url));
const buildFolder = join(sourceFolder, "build/wasm");
const SKIPPED = 77;  // the exit status that CTest shows as skipped

function projectVersion() {
  const header = readFileSync(join(sourceFolder, "egress/version.h"), "utf8");
  const numbers = header.matchAll(/^#define EGRESS_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$/gm);
  return [...numbers].map((match) => match[1]).join(".");
}

export const version = projectVersion();
const archive = join(buildFolder, `egress-diagnosis-${version}.tgz`);
if (!existsSync(archive)) {
  console.log(`skipped: ${archive} is missing; scripts/wasm builds it`);
  process.exit(SKIPPED);
}

// Each build has its own, so that the tests of several can run at once.
export const project = process.argv[2] ?? join(buildFolder, "test_project");
export const installed = join(project, "node_modules/egress-diagnosis");

rmSync(project, { recursive: true, force: true });
mkdirSync(project, { recursive: true });
writeFileSync(join(project, "package.json"), '{"type": "commonjs"}\n');
execFileSync("npm", ["install", "--offline", "--no-audit", "--no-fund", "--no-update-notifier",
                     "--loglevel=error", archive], { cwd: project, stdio: "inherit" });
writeFileSync(join(project, "use.mjs"), 'export * from "egress-diagnosis";\n');

export const { EgressError, load } = await import(pathToFileURL(join(project, "use.mjs")));
export const moduleBytes = readFileSync(join(installed, "egress.wasm"));
