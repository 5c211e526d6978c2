// Before anything is painted: the theme that the reader chose, where he chose one.
'use strict';
try {
  const theme = localStorage.getItem('ovix-theme');
  if (theme === 'light' || theme === 'dark') document.documentElement.dataset.theme = theme;
} catch {
  // A browser may forbid the storage; the theme is then that of the system.
}
