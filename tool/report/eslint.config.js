// For npm run lint; also from a copy of this folder two levels below the root.
import js from '@eslint/js';
import globals from 'globals';

const markup = ['innerHTML', 'outerHTML', 'insertAdjacentHTML', 'setHTMLUnsafe', 'srcdoc', 'write'];

export default [
  js.configs.recommended,
  { rules: { eqeqeq: 'error', 'no-var': 'error', 'prefer-const': 'error' } },
  { files: ['**/*.js'], languageOptions: { globals: globals.browser } },
  {
    // What an event says must not become markup.
    files: ['tool/report/*.js'],
    rules: {
      'no-restricted-properties': ['error', ...markup.map((property) => ({ property }))],
      'no-implied-eval': 'error',
      'no-new-func': 'error',
    },
  },
  { files: ['**/*.mjs'], languageOptions: { globals: globals.node } },
];
