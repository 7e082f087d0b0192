// The classroom's rules.

export { default } from '../../classroom/eslint.config.js';
