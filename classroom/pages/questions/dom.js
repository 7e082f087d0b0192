// Elements of a page. What others wrote goes in as text, never as markup.

let ids = 0;

/** An id that no other element has. */
export function freshId(prefix) {
  ids += 1;
  return `${prefix}-${ids}`;
}

/** An element with attributes (null: left out) and children: elements, or texts. */
export function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [attribute, value] of Object.entries(attributes)) {
    if (value !== null) {
      element.setAttribute(attribute, value);
    }
  }
  element.append(...children);
  return element;
}

/** Tells that a control does nothing for now. It keeps the focus, unlike one that is disabled. */
export function setLocked(control, isLocked) {
  if (isLocked) {
    control.setAttribute('aria-disabled', 'true');
  } else {
    control.removeAttribute('aria-disabled');
  }
}
