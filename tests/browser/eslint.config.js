// The classroom's rules, and names of the browser's own beside Node's: some functions run in a page.

import rules from '../../classroom/eslint.config.js';

const BROWSER = ['document', 'window', 'location', 'navigator', 'localStorage'];

export default [
  ...rules,
  { files: ['**/*.js'], languageOptions: { globals: Object.fromEntries(BROWSER.map((name) => [name, 'readonly'])) } },
];
