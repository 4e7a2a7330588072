// Validates an OpenAPI document: its structure, its references, and its examples against its
// schemas. The validator is looked for in the working folder, which is not the sources'.

const folder = { paths: [process.cwd()] };
const { createConfig, formatProblems, getTotals, lint } = require(
  require.resolve('@redocly/openapi-core', folder)
);

const rules = {
  'no-invalid-media-type-examples': { severity: 'error', allowAdditionalProperties: false },
  'no-invalid-parameter-examples': { severity: 'error', allowAdditionalProperties: false },
  'no-invalid-schema-examples': { severity: 'error', allowAdditionalProperties: false },
  'operation-description': 'off',
  // The client looks at no status, so there is nothing to say of another one.
  'operation-4xx-response': 'off',
  // The document is a part of the program and has no license of its own.
  'info-license': 'off',
  'info-license-strict': 'off',
};

async function main() {
  const config = await createConfig({ extends: ['recommended-strict'], rules });
  const problems = await lint({ ref: process.argv[2], config });
  const totals = getTotals(problems);
  formatProblems(problems, { format: 'codeframe', totals, version: '' });
  console.log(`${totals.errors} errors, ${totals.warnings} warnings`);
  process.exitCode = totals.errors + totals.warnings > 0 ? 1 : 0;
}

main();
