// Search in the catalogue, copying, and opening what an address leads to. All else works without.
document.documentElement.classList.add('hasScript');

document.addEventListener('DOMContentLoaded', () => {
    const byId = (id) => document.getElementById(id);
    const search = byId('search');
    const articles = [...document.querySelectorAll('.event')];
    const entries = [...byId('list').children];
    const lower = (node) => node.textContent.toLowerCase();
    const wide = matchMedia('(min-width: 861px)');  // as in catalogue.css
    let index = null;

    // Made at the first search: a catalogue has up to thousands of events.
    const makeIndex = () => articles.map((article) => ({
        head: [...article.querySelectorAll('h2, .id, .description')].map(lower).join('\n'),
        properties: [...article.querySelectorAll('.properties tbody tr')]
            .map((row) => ({path: row.dataset.path, text: `${row.dataset.path.toLowerCase()}\n${lower(row)}`})),
    }));

    function filter() {
        index ??= makeIndex();
        const words = search.value.toLowerCase().split(/\s+/).filter((word) => word !== '');
        let shown = 0;
        index.forEach(({head, properties}, at) => {
            const elsewhere = words.filter((word) => !head.includes(word));
            const found = properties.filter(({text}) => elsewhere.some((word) => text.includes(word)));
            const matches = elsewhere.every((word) => found.some(({text}) => text.includes(word)));
            articles[at].hidden = entries[at].hidden = !matches;
            entries[at].querySelector('.found')?.remove();
            if (!matches) return;
            shown += 1;
            if (found.length === 0) return;
            const note = document.createElement('span');
            note.className = 'found';
            note.textContent = [...new Set(found.map(({path}) => path))].join(', ');
            entries[at].firstElementChild.append(note);
        });
        byId('matches').textContent = words.length === 0 ? ''
            : `${shown} of ${articles.length} ${articles.length === 1 ? 'event' : 'events'}`;
        byId('nothing').hidden = shown > 0 || words.length === 0;
    }

    const clear = () => {
        search.value = '';
        filter();
        search.focus();
    };
    search.addEventListener('input', filter);
    byId('showAll').addEventListener('click', clear);
    document.addEventListener('keydown', (event) => {
        if (event.key === '/' && !event.target.closest('input:not([type=radio])')) {
            event.preventDefault();
            search.focus();
        } else if (event.key === 'Escape' && event.target === search) {
            clear();
        }
    });

    // A language that is chosen once is chosen everywhere.
    document.addEventListener('change', ({target}) => {
        if (target.type !== 'radio') return;
        const place = target.getBoundingClientRect().top;
        for (const same of document.querySelectorAll(`input.${target.className}`)) same.checked = true;
        scrollBy({top: target.getBoundingClientRect().top - place, behavior: 'instant'});
    });

    document.addEventListener('click', async ({target}) => {
        const button = target.closest('.copy');
        if (!button) return;
        const shown = [...button.parentElement.querySelectorAll('pre')].find((one) => one.offsetParent);
        const label = button.lastElementChild;
        try {
            await navigator.clipboard.writeText(shown.dataset.line ?? shown.textContent);
            label.textContent = 'Copied';
        } catch {
            label.textContent = 'Not permitted';
        }
        setTimeout(() => { label.textContent = 'Copy'; }, 2000);
    });

    // A link may lead to an event that the search hides, or into a version that is folded away.
    const reveal = () => {
        const anchor = decodeURIComponent(location.hash.slice(1));
        const wanted = [...document.querySelectorAll('.version')].find(({id}) => id === anchor);
        const article = wanted?.closest('.event');
        if (!article) return;
        if (article.hidden) clear();
        const folded = wanted.closest('details');
        if (folded) folded.open = true;
        // What comes before has its real height only once it was near the window.
        for (let times = 0; times < 3; times += 1) wanted.scrollIntoView({behavior: 'instant'});
        requestAnimationFrame(() => wanted.scrollIntoView({behavior: 'instant'}));
        mark(article);
    };
    const mark = (article) => entries.forEach((entry, at) => {
        const isCurrent = articles[at] === article;
        const link = entry.firstElementChild;
        if (isCurrent === link.hasAttribute('aria-current')) return;
        if (isCurrent) link.setAttribute('aria-current', 'true');
        else link.removeAttribute('aria-current');
        if (isCurrent && wide.matches) link.scrollIntoView({block: 'nearest', behavior: 'instant'});
    });
    addEventListener('hashchange', reveal);
    reveal();

    // Marks the event that is being read: the first that reaches below the top of the window.
    const visible = new Set();
    const observer = new IntersectionObserver((changes) => {
        for (const {target, isIntersecting} of changes) {
            if (isIntersecting) visible.add(target);
            else visible.delete(target);
        }
        const first = articles.find((article) => visible.has(article));
        if (first && wide.matches) mark(first);
    }, {rootMargin: '-80px 0px -40% 0px'});
    for (const article of articles) observer.observe(article);
});
