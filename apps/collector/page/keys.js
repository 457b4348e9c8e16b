// The keyboard: rows, search, pause, help. Keys typed into a field have no other effect.

import {byId} from './dom.js';

const isField = (target) => target.closest?.('input, select, textarea, [contenteditable]');

/// `actions`: move(by), moveTo(index), open(), close() (true if it closed anything), pause(), help().
export function listenToKeys(list, actions) {
    const everywhere = {
        j: () => actions.move(1),
        k: () => actions.move(-1),
        p: () => actions.pause(),
        '?': () => actions.help(),
        '/': () => {
            byId('filterText').focus();
            byId('filterText').select();
        },
    };
    // These keys have another meaning elsewhere, such as scrolling the panel or pressing a button.
    const inList = {
        ArrowDown: () => actions.move(1),
        ArrowUp: () => actions.move(-1),
        PageDown: () => actions.move(list.pageLength),
        PageUp: () => actions.move(-list.pageLength),
        Home: () => actions.moveTo(0),
        End: () => actions.moveTo(Math.max(0, list.shownTotal - 1)),
        Enter: () => actions.open(),
    };

    document.addEventListener('keydown', (event) => {
        if (event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey) return;
        if (document.querySelector('dialog[open]')) return;
        const {target} = event;
        if (event.key === 'Escape') {
            if (isField(target)) {
                if (target.type === 'search' && target.value !== '') return;
                byId('list').focus();
                event.preventDefault();
            } else if (actions.close()) {
                event.preventDefault();
            }
            return;
        }
        if (isField(target)) {
            if (event.key === 'Enter' && target.id === 'filterText') byId('list').focus();
            return;
        }
        const isInList = target === byId('list') || target === document.body;
        const action = everywhere[event.key] ?? (isInList ? inList[event.key] : undefined);
        if (!action) return;
        action();
        event.preventDefault();
    });
}
