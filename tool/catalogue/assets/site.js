// The theme's button and the search. The pages do without either.
'use strict';
(() => {
  const root = document.body.dataset.root;

  // --- The theme: the system's, until the reader wants the other.

  const html = document.documentElement;
  const button = document.querySelector('.theme');
  const systemDark = matchMedia('(prefers-color-scheme: dark)');
  const systemTheme = () => (systemDark.matches ? 'dark' : 'light');
  const other = () => ((html.dataset.theme ?? systemTheme()) === 'dark' ? 'light' : 'dark');

  const labelButton = () => {
    button.title = `Switch to the ${other()} theme`;
    button.setAttribute('aria-label', button.title);
  };
  button.addEventListener('click', () => {
    const theme = other();
    if (theme === systemTheme()) delete html.dataset.theme;
    else html.dataset.theme = theme;
    try {
      if (html.dataset.theme) localStorage.setItem('ovix-theme', theme);
      else localStorage.removeItem('ovix-theme');
    } catch {
      // Then it holds for this page only.
    }
    labelButton();
  });
  systemDark.addEventListener('change', labelButton);
  labelButton();
  button.hidden = false;

  // --- The search.

  const form = document.querySelector('.search');
  const input = form.querySelector('input');
  const panel = form.querySelector('.panel');
  const list = form.querySelector('[role=listbox]');
  const more = form.querySelector('.more');
  const status = form.querySelector('[role=status]');
  const kinds = {
    t: 'table', p: 'payload', m: 'part', d: 'database', o: 'option', e: 'enumeration', f: 'field',
    v: 'value',
  };
  const mostShown = 40;
  let entries = null;  // of index.js, once it is there
  let loading = false;
  let selected = -1;

  const load = () => {
    if (loading) return;
    loading = true;
    const script = document.createElement('script');
    script.src = `${root}assets/index.js`;
    script.addEventListener('load', () => {
      const { pages, entries: all } = window.ovixCatalogue;
      entries = all.map(([mark, name, page, anchor, context, text, classes = ''], order) => {
        const kind = kinds[mark];
        const inside = kind === 'field' || kind === 'value';
        return {
          kind, name, context, text, order, classes,
          href: `${root}contracts/${pages[page]}${anchor ? `#${anchor}` : ''}`,
          words: name.split(/[_.]|(?<=[a-z0-9])(?=[A-Z])/).map((word) => word.toLowerCase()),
          lower: name.toLowerCase(),
          whole: (inside ? `${context}.${name}` : name).toLowerCase(),
          around: context.toLowerCase(),
          said: text.toLowerCase(),
          weight: { table: 8, payload: 8, field: 2, value: 2 }[kind] ?? 4,
        };
      });
      search();
    });
    document.head.append(script);
  };

  // How well an entry answers one word of the query; 0: not at all.
  const score = (entry, word) => {
    if (entry.lower === word || entry.whole === word) return 100;
    if (entry.lower.startsWith(word)) return 70;
    if (entry.words.some((part) => part.startsWith(word))) return 50;
    if (entry.whole.includes(word)) return 35;
    if (entry.around.includes(word)) return 20;
    return entry.said.includes(word) ? 10 : 0;
  };

  // "privacy:location" takes what has that class, and "privacy:" what has any.
  const filter = 'privacy:';
  const find = (query) => {
    const all = query.toLowerCase().split(/\s+/).filter(Boolean);
    const words = all.filter((word) => !word.startsWith(filter));
    const wanted = all.filter((word) => word.startsWith(filter))
      .map((word) => word.slice(filter.length));
    const found = [];
    for (const entry of entries) {
      const has = (start) => entry.classes.split(' ').some((name) => name && name.startsWith(start));
      if (!wanted.every(has)) continue;
      let sum = entry.weight - entry.whole.length / 40;
      for (const word of words) {
        const points = score(entry, word);
        sum = points ? sum + points : -Infinity;
      }
      if (sum > -Infinity) found.push({ entry, sum });
    }
    found.sort((a, b) => b.sum - a.sum || a.entry.order - b.entry.order);
    return { words, found: found.map(({ entry }) => entry) };
  };

  const element = (tag, name, ...children) => {
    const made = document.createElement(tag);
    if (name) made.className = name;
    made.append(...children);
    return made;
  };

  // The text with the words of the query marked.
  const marked = (text, words) => {
    if (words.length === 0) return [text];
    const pattern = words.map((word) => word.replace(/[.*+?^${}()|[\]\\]/g, '\\$&')).join('|');
    return text.split(new RegExp(`(${pattern})`, 'i')).map(
      (piece, place) => (place % 2 ? element('mark', '', piece) : piece));
  };

  // What stands around the first of the words in a comment.
  const excerpt = (text, words) => {
    const lower = text.toLowerCase();
    const first = Math.min(...words.map((word) => lower.indexOf(word)).filter((at) => at >= 0));
    const start = first > 90 && first < Infinity ? text.lastIndexOf(' ', first - 40) + 1 : 0;
    return (start ? '… ' : '') + text.slice(start, start + 160) +
      (text.length > start + 160 ? ' …' : '');
  };

  const select = (place) => {
    const options = list.children;
    options[selected]?.setAttribute('aria-selected', 'false');
    selected = place;
    const option = options[selected];
    if (option) {
      option.setAttribute('aria-selected', 'true');
      option.scrollIntoView({ block: 'nearest' });
      input.setAttribute('aria-activedescendant', option.id);
    } else {
      input.removeAttribute('aria-activedescendant');
    }
  };

  const close = () => {
    panel.hidden = true;
    input.setAttribute('aria-expanded', 'false');
    select(-1);
  };

  const search = () => {
    const query = input.value.trim();
    if (!query) {
      status.textContent = '';
      close();
      return;
    }
    if (!entries) {
      load();
      return;
    }
    const { words, found } = find(query);
    list.replaceChildren(...found.slice(0, mostShown).map((entry, place) => {
      const inside = entry.kind === 'field' || entry.kind === 'value';
      const option = element('a', '',
        element('span', `kind kind-${entry.kind}`, entry.kind), ' ',
        element('span', 'result-name', ...marked(entry.name, words)), ' ',
        element('span', 'result-context', inside ? 'in ' : '', ...marked(entry.context, words),
          entry.classes ? ` · ${entry.classes.replaceAll(' ', ', ')}` : ''), ' ',
        element('span', 'result-text', ...marked(excerpt(entry.text, words), words)));
      option.href = entry.href;
      option.id = `page-result-${place}`;
      option.tabIndex = -1;
      option.setAttribute('role', 'option');
      option.setAttribute('aria-selected', 'false');
      return option;
    }));
    list.hidden = found.length === 0;
    const said = found.length === 0 ? 'Nothing has this in its name or comment.'
      : found.length === 1 ? '1 result'
        : `${found.length} results${found.length > mostShown ? `, the best ${mostShown} shown` : ''}`;
    status.textContent = said;
    more.textContent = said;
    panel.hidden = false;
    input.setAttribute('aria-expanded', String(found.length > 0));
    list.scrollTop = 0;
    selected = -1;
    select(found.length > 0 ? 0 : -1);
  };

  input.addEventListener('focus', () => {
    load();
    if (input.value) search();
  });
  input.addEventListener('input', search);
  input.addEventListener('keydown', (event) => {
    const count = panel.hidden ? 0 : list.children.length;
    if (event.key === 'Escape') {
      if (panel.hidden) input.blur();
      input.value = '';
      close();
    } else if ((event.key === 'ArrowDown' || event.key === 'ArrowUp') && count > 0) {
      const step = event.key === 'ArrowDown' ? 1 : count - 1;
      select((selected + step) % count);
    } else if (event.key === 'Enter') {
      if (count > 0 && selected >= 0) list.children[selected].click();
    } else {
      return;
    }
    event.preventDefault();
  });
  list.addEventListener('click', (event) => {
    if (event.ctrlKey || event.metaKey || event.shiftKey) return;
    input.value = '';
    input.blur();
    close();
  });
  form.addEventListener('submit', (event) => event.preventDefault());
  form.addEventListener('focusout', (event) => {
    if (!form.contains(event.relatedTarget)) close();
  });
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.target.closest('input, textarea, select, [contenteditable]')) return;
    event.preventDefault();
    input.focus();
    input.select();
  });
  form.hidden = false;

  // --- The filter of the page of personal data.

  const choices = document.querySelector('.filter');
  if (!choices) return;
  const boxes = [...choices.querySelectorAll('input')];
  const groups = [...document.querySelectorAll('.personal tbody')].map((group) => (
    { group, rows: [...group.querySelectorAll('[data-privacy]')] }));
  const apply = () => {
    const chosen = new Set(boxes.filter((box) => box.checked).map((box) => box.value));
    let fields = 0;
    let contracts = 0;
    for (const { group, rows } of groups) {
      const isKind = chosen.has(group.dataset.kind);
      for (const row of rows) row.hidden = !chosen.has(row.dataset.privacy);
      const shown = isKind ? rows.filter((row) => !row.hidden).length : 0;
      group.hidden = shown === 0;
      fields += shown;
      contracts += shown === 0 ? 0 : 1;
    }
    choices.querySelector('[role=status]').textContent =
      `${fields} fields in ${contracts} tables and payloads`;
  };
  // A link to a class shows that class alone.
  const follow = () => {
    const name = location.hash.replace('#class-', '');
    if (boxes.every((box) => box.value !== name)) return;
    for (const box of boxes) if (box.name === 'class') box.checked = box.value === name;
    apply();
  };
  choices.addEventListener('change', apply);
  addEventListener('hashchange', follow);
  choices.hidden = false;
  apply();
  follow();
})();
