// The theme's button, the list of all contracts, copying, and the filter of privacy.html. The pages
// do without any of them.
'use strict';
window.ovixElement = (tag, name, ...children) => {
  const made = document.createElement(tag);
  if (name) made.className = name;
  made.append(...children);
  return made;
};
(() => {
  const { root } = document.body.dataset;
  const element = window.ovixElement;

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

  // --- The list of all contracts, in place of what the page itself has of it.

  const side = document.querySelector('.side');
  const here = side.querySelector('[aria-current]')?.getAttribute('href');
  const breakable = (name) => name.split(/(?<=[_./])|(?<=[a-z])(?=[A-Z])/)
    .flatMap((piece, place) => (place ? [document.createElement('wbr'), piece] : [piece]));
  const link = (href, name) => {
    const made = element('a', '', ...breakable(name));
    made.href = href;
    if (href === here) made.setAttribute('aria-current', 'page');
    return element('li', '', made);
  };
  const folded = (open, content, name, ...count) => {
    const made = element('details', '',
      element('summary', '', element('span', '', ...breakable(name)), ...count), content);
    made.open = open;
    return element('li', '', made);
  };
  const sections = window.ovixNavigation.map(([name, anchor, groups]) => {
    const all = groups.map(([group, pages]) => ({
      name: group, links: pages.map(([page, href]) => link(`${root ? '' : 'contracts/'}${href}`, page)),
    }));
    const isHere = ({ links }) => links.some((item) => item.querySelector('[aria-current]'));
    const overview = link(`${root}index.html#${anchor}`, 'Overview');
    const list = element('ul', '', overview, ...all.map((group) => folded(isHere(group),
      element('ul', '', ...group.links), group.name, ` ${group.links.length}`)));
    return folded(!here || all.some(isHere), list, name);
  });
  const privacy = side.querySelector('ul').lastElementChild;
  side.querySelector('ul').replaceChildren(...sections, privacy);
  const current = side.querySelector('[aria-current]');
  const show = () => {
    // Not scrollIntoView(), which moves the page too.
    if (current) side.scrollTop = current.offsetTop - side.clientHeight / 2;
  };
  show();
  side.addEventListener('toggle', (event) => {
    if (event.target === side && event.newState === 'open') show();
  });
  side.addEventListener('click', (event) => {
    if (event.target.closest('a') && side.matches(':popover-open')) side.hidePopover();
  });
  // On a wide page the list is always there.
  matchMedia('(min-width: 64rem)').addEventListener('change', (event) => {
    if (event.matches && side.matches(':popover-open')) side.hidePopover();
  });

  // --- A button that copies, in each block of text.

  const copy = async (block) => {
    try {
      await navigator.clipboard.writeText(block.textContent);
      return true;
    } catch {
      // A page from a server without TLS has no clipboard, but may copy what is selected.
      getSelection().selectAllChildren(block);
      const copied = document.execCommand('copy');
      if (copied) getSelection().removeAllRanges();
      return copied;
    }
  };
  for (const block of document.querySelectorAll('.text pre')) {
    const name = block.getAttribute('aria-label');
    const copier = element('button', 'copy', 'Copy');
    const said = element('span', 'unseen');
    copier.type = 'button';
    copier.setAttribute('aria-label', `Copy: ${name}`);
    said.setAttribute('role', 'status');
    copier.addEventListener('click', async () => {
      const copied = await copy(block);
      copier.textContent = copied ? 'Copied' : 'Press Ctrl+C';
      said.textContent = copied ? `${name} copied` : `${name} is selected, press Ctrl+C`;
      setTimeout(() => {
        copier.textContent = 'Copy';
        said.textContent = '';
      }, 2000);
    });
    block.before(copier, said);
  }

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
