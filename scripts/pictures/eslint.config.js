// The rules of the tests in a browser, whose helpers these programs use.

export { default } from '../../tests/browser/eslint.config.js';
