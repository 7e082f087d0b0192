// Dragging the items of a list by their grips, with finger, pen or mouse.

/**
 * list: its items have an element of the class "grip". isAllowed(): whether one may be dragged now.
 * moved(item, place) has to put the item there without taking it out of the page; dropped(item) ends it.
 */
export function makeDraggable(list, { isAllowed, moved, dropped }) {
  list.addEventListener('pointerdown', (event) => {
    const grip = event.target.closest('.grip');
    if (grip && event.isPrimary && event.button === 0 && isAllowed()) {
      event.preventDefault();
      new Drag(list, grip, event, { isAllowed, moved, dropped });
    }
  });
}

class Drag {
  #list;
  #item;
  #grabbedAt; // how far below the item's upper edge
  #owner;
  #ending = new AbortController();

  constructor(list, grip, { pointerId, clientY }, owner) {
    this.#list = list;
    this.#item = grip.closest('li');
    this.#grabbedAt = clientY - this.#item.getBoundingClientRect().top;
    this.#owner = owner;
    this.#item.classList.add('dragged');
    grip.setPointerCapture(pointerId);
    const { signal } = this.#ending;
    grip.addEventListener('pointermove', (event) => this.#move(event), { signal });
    ['pointerup', 'pointercancel', 'lostpointercapture'].forEach((type) => (
      grip.addEventListener(type, () => this.#end(), { signal })));
  }

  #move({ clientY }) {
    if (!this.#owner.isAllowed()) {
      this.#end();
      return;
    }
    const items = [...this.#list.children];
    const others = items.filter((item) => item !== this.#item);
    const place = others.filter((item) => middleOf(item) < clientY).length;
    if (place !== items.indexOf(this.#item)) {
      this.#owner.moved(this.#item, place);
    }
    this.#follow(clientY);
  }

  // To where the pointer is, from wherever the item now stands in the list.
  #follow(clientY) {
    this.#item.style.transform = '';
    const { top } = this.#item.getBoundingClientRect();
    this.#item.style.transform = `translateY(${clientY - this.#grabbedAt - top}px)`;
  }

  #end() {
    this.#ending.abort();
    this.#item.classList.remove('dragged');
    this.#item.style.transform = '';
    this.#owner.dropped(this.#item);
  }
}

function middleOf(item) {
  const { top, height } = item.getBoundingClientRect();
  return top + height / 2;
}
