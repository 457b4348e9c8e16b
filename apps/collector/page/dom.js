// Makes elements. All texts become text nodes; no markup is parsed.

// Characters that change the direction of the text after them and so disguise it.
const turns = /[\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069]/g;

/// `text` with its direction characters escaped, for example as \u202e.
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

/// Sets the text only if it differs, which keeps announcements and selections.
export function setText(node, text) {
    const shown = plain(text);
    if (node.textContent !== shown) node.textContent = shown;
}

let toastTimer = 0;

/// Shows a notice for a few seconds.
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

/// Opens a dialog. Its buttons with `data-close` and a click beside it close it.
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

// Over plain HTTP beyond loopback, browsers give the page no clipboard.
function copyBySelection(text) {
    const area = element('textarea', {class: 'visuallyHidden', 'aria-hidden': 'true'});
    area.value = text;
    document.body.append(area);
    area.select();
    const done = document.execCommand('copy');
    area.remove();
    if (!done) throw new Error('refused');
}
