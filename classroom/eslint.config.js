// What eslint holds against the service, its tests and its pages: the recommended rules.

import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  { linterOptions: { reportUnusedDisableDirectives: 'error' } },
  { ignores: ['pages/vendor/'] },
  { files: ['**/*.js'], languageOptions: { globals: globals.node } },
  // Tests look for lines of the log, whose columns are blanks.
  { files: ['test/**/*.js'], rules: { 'no-regex-spaces': 'off' } },
  { files: ['pages/**/*.js'], languageOptions: { globals: globals.browser } },
];
