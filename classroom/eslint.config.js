// What eslint holds against the service, its tests and its pages: the recommended rules, but for what is
// meant here.

import js from '@eslint/js';
import globals from 'globals';

const RULES = {
  // A field that is taken out so that it is not among the others, and a round that needs no item.
  'no-unused-vars': ['error', { ignoreRestSiblings: true, varsIgnorePattern: '^_$' }],
  // Looking for characters that cannot be seen is what these do, and escapes show which.
  'no-control-regex': 'off',
  'no-misleading-character-class': ['error', { allowEscape: true }],
};

export default [
  js.configs.recommended,
  { linterOptions: { reportUnusedDisableDirectives: 'error' }, rules: RULES },
  { ignores: ['pages/vendor/'] },
  { files: ['**/*.js'], languageOptions: { globals: globals.node } },
  // The fields that are left out of the rest of an object are named for that.
  { rules: { 'no-unused-vars': ['error', { ignoreRestSiblings: true }] } },
  // Tests look for lines of the log, whose columns are blanks, and for control characters.
  { files: ['test/**/*.js'], rules: { 'no-regex-spaces': 'off', 'no-control-regex': 'off' } },
  { files: ['pages/**/*.js'], languageOptions: { globals: globals.browser } },
];
