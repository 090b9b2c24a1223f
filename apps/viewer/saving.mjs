// Texts that leave the page by the user's hand: as a file, or on the clipboard.
import { element } from "./dom.mjs";

export function save(name, text, type = "application/json") {
  const url = URL.createObjectURL(new Blob([text], { type }));
  const link = element("a", { href: url, download: name });
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(url), 10_000);
}

// Where the clipboard is closed to pages from files, a selected text is copied.
function copySelected(text) {
  const focused = document.activeElement;
  const area = element("textarea", { "aria-hidden": "true", class: "unseen" });
  area.value = text;
  document.body.append(area);
  area.select();
  const isDone = document.execCommand("copy");
  area.remove();
  focused.focus({ preventScroll: true });
  return isDone;
}

export async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return copySelected(text);
  }
}

// A picture for other programs needs its style in itself.
export function pictureText(picture, style) {
  const copied = picture.cloneNode(true);
  const sheet = document.createElementNS("http://www.w3.org/2000/svg", "style");
  sheet.textContent = style;
  copied.prepend(sheet);
  return new XMLSerializer().serializeToString(copied);
}
