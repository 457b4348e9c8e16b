// Makes elements. Whatever is shown becomes a text node: nothing here parses markup.

// These turn the direction of what follows, so that a text would read as another.
const turns = /[\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069]/g;

/// `text` with the characters that turn its direction as \u202e.
const plain = (text) =>
    text.replace(turns, (turn) => `\\u${turn.charCodeAt(0).toString(16).padStart(4, '0')}`);

const spoken = ['title', 'aria-label'];

const svgNamespace = 'http://www.w3.org/2000/svg';

function fill(node, attributes, children) {
    for (const [name, value] of Object.entries(attributes)) {
        if (value === undefined || value === null || value === false) continue;
        if (name === 'class') node.setAttribute('class', value);
        else if (name.startsWith('on')) node.addEventListener(name.slice(2), value);
        else if (spoken.includes(name)) node.setAttribute(name, plain(String(value)));
        else node.setAttribute(name, value === true ? '' : String(value));
    }
    setChildren(node, ...children);
    return node;
}

export function setChildren(node, ...children) {
    node.replaceChildren(...children.filter((child) => child !== null && child !== undefined)
        .map((child) => (typeof child === 'string' ? plain(child) : child)));
}

export const element = (tag, attributes = {}, ...children) =>
    fill(document.createElement(tag), attributes, children);

export const svgElement = (tag, attributes = {}, ...children) =>
    fill(document.createElementNS(svgNamespace, tag), attributes, children);

export const icon = (name) =>
    svgElement('svg', {class: 'icon', 'aria-hidden': 'true'}, svgElement('use', {href: `#${name}`}));

export const button = (text, attributes, ...children) =>
    element('button', {type: 'button', ...attributes}, ...children, text);

export const byId = (id) => document.getElementById(id);

/// Sets the text only when it differs: what is announced or selected stays undisturbed.
export function setText(node, text) {
    const shown = plain(text);
    if (node.textContent !== shown) node.textContent = shown;
}

let toastTimer = 0;

/// A short notice that goes away by itself.
export function toast(text) {
    const place = byId('toast');
    setText(place, text);
    place.classList.add('shown');
    clearTimeout(toastTimer);
    toastTimer = setTimeout(() => {
        place.classList.remove('shown');
        place.textContent = '';
    }, 3500);
}

/// Opens a dialog; its buttons with `data-close` and a click beside it close it.
export function openDialog(dialog) {
    if (!dialog.dataset.ready) {
        dialog.dataset.ready = 'yes';
        dialog.addEventListener('click', (event) => {
            if (event.target === dialog || event.target.closest('[data-close]')) dialog.close();
        });
    }
    if (!dialog.open) dialog.showModal();
}

export async function copyText(text, what) {
    try {
        if (navigator.clipboard) await navigator.clipboard.writeText(text);
        else copyBySelection(text);
        toast(`Copied ${what}`);
    } catch {
        toast(`The browser does not let ${what} be copied`);
    }
}

// Beyond loopback the page is no secure context and has no clipboard of its own.
function copyBySelection(text) {
    const area = element('textarea', {class: 'visuallyHidden', 'aria-hidden': 'true'});
    area.value = text;
    document.body.append(area);
    area.select();
    const done = document.execCommand('copy');
    area.remove();
    if (!done) throw new Error('refused');
}
