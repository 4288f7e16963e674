#include "workflow/pages/html_script.h"

namespace clipchain {

// Text of the page is only ever compared, and what is put into it is text. With thousands of
// recordings a search waits until nobody types: each one lays out the whole page.
const char kHtmlScript[] = R"js(
(() => {
  const list = document.getElementById('list');
  const items = [...list.querySelectorAll('.sequence, .job')];
  const texts = items.map((item) =>
    (item.textContent + ' ' + (item.dataset.state || '')).toLowerCase().replace(/\s+/g, ' '));
  const bars = new Map();
  for (const bar of document.querySelectorAll('.bar')) bars.set(bar.hash.slice(1), bar);
  const form = document.createElement('form');
  form.className = 'find';
  form.setAttribute('role', 'search');
  const label = document.createElement('label');
  label.textContent = 'Find';
  const field = document.createElement('input');
  field.type = 'search';
  field.placeholder = 'name, card, date, state';
  field.autocomplete = 'off';
  label.append(field);
  const told = document.createElement('output');
  told.setAttribute('aria-live', 'polite');
  form.append(label, told);
  list.before(form);
  const find = () => {
    const words = field.value.toLowerCase().split(/\s+/).filter(Boolean);
    let shown = 0;
    items.forEach((item, i) => {
      item.hidden = !words.every((word) => texts[i].includes(word));
      shown += item.hidden ? 0 : 1;
      const bar = bars.get(item.id);
      if (bar) bar.classList.toggle('dim', item.hidden);
    });
    told.textContent = words.length ? shown + ' of ' + items.length : '';
  };
  let waiting = 0;
  field.addEventListener('input', () => {
    clearTimeout(waiting);
    waiting = setTimeout(find, items.length > 500 ? 200 : 0);
  });
  form.addEventListener('submit', (event) => { event.preventDefault(); find(); });
  const open = () => {
    let target = location.hash && document.getElementById(location.hash.slice(1));
    if (!target) return;
    if (target.hidden) { field.value = ''; find(); }
    for (let at = target; at; at = at.parentElement) if (at.tagName === 'DETAILS') at.open = true;
    target.scrollIntoView();
  };
  addEventListener('hashchange', open);
  if (location.hash) open();
})();
)js";

const char kHtmlScriptHash[] = "sha256-F7I64qWvqhFnyLPo+63Z8jIlOcyaf3/ESmmJjoD/Rfo=";

}  // namespace clipchain
