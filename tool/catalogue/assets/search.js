// The search. The pages do without it.
'use strict';
(() => {
  const { root } = document.body.dataset;
  const element = window.ovixElement;
  const form = document.querySelector('.search');
  const input = form.querySelector('input');
  const panel = form.querySelector('.panel');
  const list = form.querySelector('[role=listbox]');
  const more = form.querySelector('.more');
  const status = form.querySelector('[role=status]');
  const kinds = {
    t: 'table', p: 'payload', m: 'sub-message', d: 'database', o: 'option', e: 'enumeration',
    f: 'field', v: 'value',
  };
  const mostShown = 40;
  const fewHits = 5;  // with fewer, words of a similar spelling are found too
  const filter = 'privacy:';
  let contracts = null;  // of index.js, once it is there: a page with all its entries each
  let vocabulary = null;  // every word and name that a query may mean
  let names = null;  // those of them that are names, or words of names
  let classes = null;  // "privacy:location" and the like
  let loading = false;
  let selected = -1;

  // --- The index.

  const wordsOf = (name) => name.split(/[^A-Za-z0-9]+|(?<=[a-z0-9])(?=[A-Z])/).filter(Boolean)
    .map((word) => word.toLowerCase());

  const read = ({ pages, entries }) => {
    contracts = pages.map((file, order) => ({ href: `${root}contracts/${file}`, order, entries: [] }));
    const words = new Set();
    for (const [mark, name, page, anchor, context, text, classes = ''] of entries) {
      const kind = kinds[mark];
      const inside = kind === 'field' || kind === 'value';
      const said = text.toLowerCase();
      const full = pages[page].replace(/\.html$/, '') + (anchor ? `.${anchor}` : '');
      const entry = {
        kind, name, context, text, anchor, classes,
        words: wordsOf(name),
        lower: name.toLowerCase(),
        full: full.toLowerCase(),
        whole: (inside ? `${context}.${name}` : name).toLowerCase(),
        around: context.toLowerCase(),
        aroundWords: [...wordsOf(context), ...context.toLowerCase().split('.')],
        said,
        saidWords: new Set(said.split(/[^a-z0-9]+/)),
        weight: { table: 8, payload: 8, field: 2, value: 2 }[kind] ?? 4,
      };
      contracts[page].entries.push(entry);
      for (const group of [entry.words, entry.aroundWords, entry.saidWords, [entry.lower, entry.whole]]) {
        for (const word of group) words.add(word);
      }
    }
    // The page's own comes first.
    for (const { entries: all } of contracts) all.sort((a, b) => Boolean(a.anchor) - Boolean(b.anchor));
    vocabulary = [...words];
    names = [...new Set(contracts.flatMap(({ entries: all }) => all.flatMap(
      (entry) => [entry.lower, ...entry.words])))].filter((name) => name.length > 2);
    classes = [...new Set(entries.flatMap(([, , , , , , names = '']) => names.split(' ')))]
      .filter(Boolean).map((name) => filter + name);
  };

  const load = () => {
    if (loading) return;
    loading = true;
    const script = document.createElement('script');
    script.src = `${root}assets/index.js`;
    script.addEventListener('load', () => {
      read(window.ovixCatalogue);
      search();
    });
    document.head.append(script);
  };

  // --- Spelling.

  // The edits that make the word the other, or the beginning of it that comes nearest: a letter more,
  // less or another, or two that changed places. More than `most` are not counted.
  const rows = [[], [], []];  // the edits to each beginning of `other`; kept, for this runs often
  const editsTo = (word, other, most, isWhole = false) => {
    const width = Math.min(other.length, word.length + most);
    if (width < word.length - most || (isWhole && other.length > width)) return most + 1;
    let [before, row, next] = rows;
    let least = 0;
    for (let j = 0; j <= width; ++j) row[j] = j;
    for (let i = 1; i <= word.length; ++i) {
      next[0] = i;
      least = i;
      for (let j = 1; j <= width; ++j) {
        let edits = row[j - 1] + (word[i - 1] === other[j - 1] ? 0 : 1);
        if (row[j] < edits) edits = row[j] + 1;
        if (next[j - 1] < edits) edits = next[j - 1] + 1;
        if (i > 1 && j > 1 && word[i - 1] === other[j - 2] && word[i - 2] === other[j - 1] &&
          before[j - 2] < edits) edits = before[j - 2] + 1;
        next[j] = edits;
        if (edits < least) least = edits;
      }
      if (least > most) return most + 1;
      [before, row, next] = [row, next, before];
    }
    return isWhole ? row[width] : least;
  };

  const mostEdits = (word) => (word.length >= 8 ? 2 : word.length >= 4 ? 1 : 0);

  // What of the vocabulary a word may mean, with the edits.
  const meant = (word) => {
    const most = mostEdits(word);
    const found = new Map();
    for (const other of most ? vocabulary : []) {
      const edits = editsTo(word, other, most);
      if (edits <= most) found.set(other, edits);
    }
    return found;
  };

  // --- Finding.

  // How well an entry answers one word of the query; 0: not at all.
  const score = (entry, word) => {
    if (entry.lower === word || entry.whole === word || entry.full === word) return 100;
    if (word.includes('.') && entry.full.endsWith(`.${word}`)) return 90;
    if (entry.lower.startsWith(word)) return 70;
    if (entry.words.some((part) => part.startsWith(word))) return 50;
    if (entry.whole.includes(word)) return 35;
    if (entry.around.includes(word)) return 20;
    return entry.said.includes(word) ? 10 : 0;
  };

  // The same where the spelling is not the entry's; the more edits the less.
  const scoreMeant = (entry, near) => {
    let most = 0;
    const look = (words, points) => {
      for (const word of words) {
        if (near.has(word)) most = Math.max(most, points / (1 + near.get(word)));
      }
    };
    look([entry.lower, entry.whole], 70);
    look(entry.words, 50);
    look(entry.aroundWords, 20);
    look(entry.saidWords, 10);
    return most;
  };

  // The contracts that answer all words, each once. One entry answers them, which the hit leads to,
  // or several together, which then lead to the page.
  const rank = (words, wanted, points) => {
    const hits = [];
    for (const { href, order, entries } of contracts) {
      const best = words.map(() => 0);
      const matches = [];
      let top = null;
      let sum = -Infinity;
      for (const entry of entries) {
        if (!wanted.every((start) => entry.classes.split(' ').some(
          (name) => name && name.startsWith(start)))) continue;
        const all = words.map((word, place) => points(entry, word, place));
        all.forEach((value, place) => { best[place] = Math.max(best[place], value); });
        const total = all.reduce((a, b) => a + b, 0) + entry.weight - entry.whole.length / 40;
        if (all.some((value) => value > 0) || words.length === 0) matches.push({ entry, total });
        if (all.every((value) => value > 0) && total > sum) {
          top = entry;
          sum = total;
        }
      }
      const isTogether = !top && words.length > 0 && best.every((value) => value > 0);
      if (!top && !isTogether) continue;
      if (isTogether) sum = best.reduce((a, b) => a + b, 0) / 2;
      matches.sort((a, b) => b.total - a.total);
      hits.push({ href, order, own: entries[0], top, sum, matches: matches.map(({ entry }) => entry) });
    }
    return hits.sort((a, b) => b.sum - a.sum || a.order - b.order);
  };

  // Each once: a long text that was pasted must not stop the page.
  const wordsIn = (query) => [...new Set(query.toLowerCase().split(/\s+/).filter(Boolean))];

  // "privacy:location" takes what has that class, and "privacy:" what has any.
  const find = (query) => {
    const all = wordsIn(query);
    const words = all.filter((word) => !word.startsWith(filter));
    const wanted = all.filter((word) => word.startsWith(filter))
      .map((word) => word.slice(filter.length));
    const found = rank(words, wanted, score);
    if (words.length === 0 || found.length >= fewHits) return { words, found, exact: found.length };
    const near = words.map(meant);
    const known = new Set(found.map(({ href }) => href));
    const spelled = rank(words, wanted, (entry, word, place) => (
      score(entry, word) || scoreMeant(entry, near[place])))
      .filter(({ href }) => !known.has(href));
    return {
      words: spelled.length ? [...words, ...near.flatMap((found) => [...found.keys()])] : words,
      found: [...found, ...spelled],
      exact: found.length,
    };
  };

  // The one of them that comes nearest; empty where none comes near.
  const nearest = (word, others) => {
    let found = '';
    let least = Math.ceil(word.length / 3) + 1;
    for (const other of others) {
      const edits = editsTo(word, other, least - 1, true);
      if (edits < least) [found, least] = [other, edits];
    }
    return found;
  };

  // A query that finds something, for one that does not: what nothing has is replaced, or left out.
  const suggestion = (query) => {
    const words = wordsIn(query).map((word) => {
      const isFilter = word.startsWith(filter);
      if (rank(isFilter ? [] : [word], isFilter ? [word.slice(filter.length)] : [], score).length > 0) {
        return word;
      }
      return nearest(word, isFilter ? classes : names);
    });
    const other = words.filter(Boolean).join(' ');
    return other && other !== query.toLowerCase() && find(other).found.length > 0 ? other : '';
  };

  // --- Showing.

  // The text with the words of the query marked.
  const marked = (text, words) => {
    if (words.length === 0) return [text];
    const pattern = words.map((word) => word.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'))
      .sort((a, b) => b.length - a.length).join('|');
    return text.split(new RegExp(`(${pattern})`, 'i')).map(
      (piece, place) => (place % 2 ? element('mark', '', piece) : piece));
  };

  // What is around the first of the words in a comment.
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

  const makeOption = (href, place, ...content) => {
    const option = element('a', '', ...content);
    option.href = href;
    option.id = `page-result-${place}`;
    option.tabIndex = -1;
    option.setAttribute('role', 'option');
    option.setAttribute('aria-selected', 'false');
    return option;
  };

  // A contract, and which of its fields and sub-messages answer the query.
  const makeHit = ({ href, own, top, matches }, words, place) => {
    const inside = matches.filter((entry) => entry !== own && (words.length === 0 ||
      words.some((word) => entry.lower.includes(word) || entry.said.includes(word))));
    const shown = top && top !== own ? top : own;
    const others = inside.filter((entry) => entry !== shown);
    const names = others.slice(0, 3).flatMap((entry, at) => [at ? ', ' : '', ...marked(entry.name, words)]);
    return makeOption(top?.anchor ? `${href}#${top.anchor}` : href, place,
      element('span', `kind kind-${own.kind}`, own.kind), ' ',
      element('span', 'result-name', ...marked(own.name, words)), ' ',
      element('span', 'result-context', ...marked(own.context, words),
        shown.classes ? ` · ${shown.classes.replaceAll(' ', ', ')}` : ''), ' ',
      element('span', 'result-text',
        ...(shown === own ? [] : [`${shown.kind} `, element('b', '', ...marked(shown.name, words)), ' ']),
        ...marked(excerpt(shown.text, words), words)), ' ',
      element('span', 'result-more', ...(others.length === 0 ? [] : [
        shown === own ? 'In it: ' : 'Also: ', ...names,
        others.length > 3 ? ` and ${others.length - 3} more` : ''])));
  };

  const search = () => {
    const query = input.value.trim();
    if (!query) {
      status.textContent = '';
      close();
      return;
    }
    if (!contracts) {
      load();
      return;
    }
    const { words, found, exact } = find(query);
    const other = found.length === 0 ? suggestion(query) : '';
    list.replaceChildren(...found.slice(0, mostShown).map((hit, place) => makeHit(hit, words, place)));
    if (other) {
      const option = makeOption('#', 0, 'Search for ', element('b', '', other), ' instead');
      option.className = 'suggestion';
      option.dataset.query = other;
      list.append(option);
    }
    const count = list.children.length;
    list.hidden = count === 0;
    const results = `${found.length} result${found.length === 1 ? '' : 's'}`;
    const said = found.length === 0 ? `Nothing has this in its name or comment.${
      other ? ` Did you mean “${other}”?` : ''}`
      : (exact === found.length ? results
        : exact === 0 ? `No exact match: ${results} with a similar spelling`
          : `${results}, the last ${found.length - exact} with a similar spelling`) +
        (found.length > mostShown ? `, the best ${mostShown} shown` : '');
    status.textContent = said;
    more.textContent = said;
    panel.hidden = false;
    input.setAttribute('aria-expanded', String(count > 0));
    list.scrollTop = 0;
    selected = -1;
    select(count > 0 ? 0 : -1);
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
    const { query } = event.target.closest('a')?.dataset ?? {};
    if (query) {
      event.preventDefault();
      input.value = query;
      input.focus();
      search();
      return;
    }
    if (event.ctrlKey || event.metaKey || event.shiftKey) return;
    input.value = '';
    input.blur();
    close();
  });
  form.querySelector('.leave').addEventListener('click', () => {
    input.value = '';
    close();
    document.activeElement.blur();
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
})();
