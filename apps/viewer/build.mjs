// Writes the page: one file with the module, the script and the style in it.
// Usage: node build.mjs MODULE PAGE
import { createHash } from "node:crypto";
import { mkdir, readFile, writeFile } from "node:fs/promises";
import { dirname, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const SNAPSHOT = '<script type="application/json" id="snapshot"></script>';
const folder = dirname(fileURLToPath(import.meta.url));

async function bundled(module) {
  const result = await build({
    entryPoints: [resolve(folder, "main.mjs")],
    bundle: true,
    minify: true,
    write: false,
    charset: "ascii",
    target: ["chrome111", "firefox115", "safari16.4"],
    format: "iife",
    alias: { "egress.wasm": resolve(module) },
    loader: { ".wasm": "binary", ".css": "text" },
    // Of egress.mjs, what only Node and pages with a server use.
    external: ["node:*"],
    define: { "import.meta.url": '"about:blank"' },
  });
  return result.outputFiles[0].text.trimEnd();
}

async function style() {
  const names = ["viewer.css", "picture.css", "print.css"];
  const texts = await Promise.all(names.map((name) => readFile(resolve(folder, name), "utf8")));
  return texts.join("\n");
}

function hashOf(text) {
  return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
}

function policy(script, css) {
  return ["default-src 'none'", `script-src ${hashOf(script)} 'wasm-unsafe-eval'`,
          `style-src ${hashOf(css)}`, "img-src data:", "connect-src 'none'", "base-uri 'none'",
          "form-action 'none'"].join("; ");
}

// What would end an element too early, or be taken for the element of the snapshot.
function check(page, script) {
  if (/<\/script|<!--/i.test(script)) throw new Error("the script has '</script' or '<!--' in it");
  if (page.split(SNAPSHOT).length !== 2) {
    throw new Error(`index.html must have one line '${SNAPSHOT}'`);
  }
}

async function main([module, page]) {
  if (page === undefined) throw new Error("usage: node build.mjs MODULE PAGE");
  const [script, css] = await Promise.all([bundled(module), style()]);
  const parts = { POLICY: policy(script, css), STYLE: css, SCRIPT: script };
  const template = await readFile(resolve(folder, "index.html"), "utf8");
  const text = template.replace(/@(POLICY|STYLE|SCRIPT)@/g, (_, name) => parts[name]);
  check(text, script);
  await mkdir(dirname(resolve(page)), { recursive: true });
  await writeFile(page, text);
}

main(process.argv.slice(2)).catch((error) => {
  console.error(`viewer: ${error.message}`);
  process.exitCode = 1;
});
