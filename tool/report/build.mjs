// Makes the report's page of one file: node build.mjs PACKAGES OUTPUT
//   PACKAGES  the folder node_modules with what package.json names
// The page has a mark where vorgate-agent puts the data.
import { createHash } from 'node:crypto';
import { readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const packages = resolve(process.argv[2]);
const output = resolve(process.argv[3]);
const esbuild = createRequire(join(packages, 'x.js'))('esbuild');

async function bundle(name) {
  const result = await esbuild.build({
    entryPoints: [join(here, name)],
    bundle: true,
    minify: true,
    write: false,
    charset: 'ascii',
    legalComments: 'none',
    target: ['chrome90', 'firefox113', 'safari16.4'],
    format: 'iife',
    nodePaths: [packages],
    logLevel: 'warning',
    outdir: here,
    banner: name.endsWith('.js') ? { js: notices() } : {},
  });
  return result.outputFiles[0].text.trim();
}

// What the packages' licences ask to go with them.
function notices() {
  const about = (name) => {
    const { version, license } = JSON.parse(
      readFileSync(join(packages, name, 'package.json'), 'utf8'),
    );
    return `${name} ${version} (${license})`;
  };
  return (
    `/* Charts: ${['echarts', 'zrender'].map(about).join(', ')}; the Apache Software Foundation ` +
    `and contributors. Table: ${['@tanstack/table-core', '@tanstack/store'].map(about).join(', ')}; ` +
    'Tanner Linsley. */'
  );
}

const hash = (text) => `'sha256-${createHash('sha256').update(text).digest('base64')}'`;

const script = await bundle('page.js');
const style = await bundle('page.css');
if (/<\/script|<!--/i.test(script) || /<\/style/i.test(style)) {
  throw new Error('the bundle holds text that would end its own element');
}
const policy =
  `default-src 'none'; script-src ${hash(script)}; style-src ${hash(style)}; ` +
  "base-uri 'none'; form-action 'none'";
const parts = { POLICY: policy, STYLE: style, SCRIPT: script };
const page = readFileSync(join(here, 'page.html'), 'utf8').replace(
  /@(POLICY|STYLE|SCRIPT)@/g,
  (_, name) => parts[name],
);
writeFileSync(output, page);
