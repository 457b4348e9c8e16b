// The theme: light, dark, or the system's. Not a module, so that the theme is set before the page is
// painted.
(() => {
    const key = 'zentara-theme';
    const themes = ['auto', 'light', 'dark'];
    const names = {auto: 'as the system', light: 'light', dark: 'dark'};

    // A browser may refuse its storage. Then the choice lasts as long as the page.
    let chosen = 'auto';
    try {
        const kept = localStorage.getItem(key);
        if (themes.includes(kept)) chosen = kept;
    } catch {}

    const apply = () => {
        if (chosen === 'auto') delete document.documentElement.dataset.theme;
        else document.documentElement.dataset.theme = chosen;
        const button = document.getElementById('theme');
        if (!button) return;
        const next = themes[(themes.indexOf(chosen) + 1) % themes.length];
        button.setAttribute('aria-label', `Theme: ${names[chosen]}`);
        button.title = `Theme: ${names[chosen]}. Click for: ${names[next]}`;
    };
    apply();

    document.addEventListener('DOMContentLoaded', () => {
        apply();
        document.getElementById('theme').addEventListener('click', () => {
            chosen = themes[(themes.indexOf(chosen) + 1) % themes.length];
            try {
                localStorage.setItem(key, chosen);
            } catch {}
            apply();
        });
    });
})();
