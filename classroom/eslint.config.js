// What eslint holds against the service, its tests and its pages: the recommended rules.

import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  { linterOptions: { reportUnusedDisableDirectives: 'error' } },
  { ignores: ['pages/vendor/'] },
  { files: ['**/*.js'], languageOptions: { globals: globals.node } },
  // The fields that are left out of the rest of an object are named for that.
  { rules: { 'no-unused-vars': ['error', { ignoreRestSiblings: true }] } },
  // Tests look for lines of the log, whose columns are blanks, and for control characters.
  { files: ['test/**/*.js'], rules: { 'no-regex-spaces': 'off', 'no-control-regex': 'off' } },
  { files: ['pages/**/*.js'], languageOptions: { globals: globals.browser } },
];
