// Pictures that a presenter shows. The page may load those of its own service and those that are sent
// whole; of others it says that they are there.

const DOWNLOAD_PATH = '/vantora/resource/downloadResourceFile';

const NOT_SHOWN = 'There is a picture that cannot be shown on this device. Look at your teacher\u2019s screen.';

/** The address as this page reaches it: the presenter may know the service by another name. */
export function reachable(address) {
  try {
    const { pathname, search } = new URL(address);
    return pathname === DOWNLOAD_PATH ? pathname + search : address;
  } catch {
    return address;
  }
}

/** Says in words what cannot be loaded, for all pictures within an element. */
export function explainBrokenPictures(element) {
  element.addEventListener('error', ({ target }) => {
    if (target instanceof HTMLImageElement) {
      target.replaceWith(wordsFor());
    }
  }, true);
}

// The browser would refuse any other, and say in its console that the page has tried.
function isShown(address) {
  try {
    const { protocol, origin } = new URL(address, location.href);
    return address !== '' && (protocol === 'data:' || origin === location.origin);
  } catch {
    return false;
  }
}

/** An element for a picture's address; without one that the page may load, words. */
export function pictureFor(address, alt, className = 'picture') {
  if (!isShown(reachable(address))) {
    return wordsFor();
  }
  const picture = document.createElement('img');
  picture.className = className;
  picture.alt = alt;
  picture.src = reachable(address);
  return picture;
}

function wordsFor() {
  const words = document.createElement('p');
  words.className = 'picture-words';
  words.textContent = NOT_SHOWN;
  return words;
}
