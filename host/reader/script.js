// Makes the reader's page quicker: it changes parts of the page in place, knows keys and hears of refreshes. Everything
// works without it as well, by links and forms.
'use strict';

(() => {
  const kMaxRows = 200;
  const kAllParts = 'feeds.items.article.status';
  const kRetryMs = 3000;
  const kNoticeMs = 8000;
  const $ = id => document.getElementById(id);
  const body = document.body;

  // Addresses. What is shown is the query alone; `notice` and `parts` are of one answer.

  const urlOf = address => new URL(address, location.href);

  const isPage = url => url.origin === location.origin && url.pathname === location.pathname;

  /** The address without what the names say. */
  const without = (url, ...names) => {
    const rest = new URL(url);
    for (const name of ['notice', 'parts', ...names]) rest.searchParams.delete(name);
    rest.hash = '';
    return rest;
  };

  const isAtFeeds = url => url.searchParams.get('aside') === 'feeds';

  /** What tells lists from each other. */
  const listOf = url => without(url, 'item', 'aside', 'address', 'before').search;

  const paneOf = url => {
    if (isAtFeeds(url)) return 'feeds';
    const isThird = url.searchParams.has('item') || url.searchParams.has('aside');
    return isThird || $('article').classList.contains('welcome') ? 'article' : 'items';
  };

  // Parts of the page.

  const parse = text => new DOMParser().parseFromString(text, 'text/html');

  let listTop = 0;  // some browsers forget it while the list is not shown

  /** Puts a part of an answer in the place of what is there. */
  const put = (answer, id) => {
    const fresh = answer.getElementById(id);
    const old = $(id);
    if (!fresh || !old) return;
    if (id === 'status') {
      // What is read aloud has to be there before its text comes.
      tell(...fresh.querySelector('#notice').childNodes);
      return;
    }
    const top = old.scrollTop;
    const hadFocus = old.contains(document.activeElement) && document.activeElement;
    old.replaceWith(fresh);
    if (id === 'feeds') {
      fresh.scrollTop = top;
      revealFeed(fresh, old);
    }
    if (id === 'items') {
      listTop = 0;
      watchEnds();
    }
    if (id === 'article') dressArticle();
    if (hadFocus) restoreFocus(fresh, hadFocus);
  };

  const restoreFocus = (part, old) => {
    const same = old.id ? $(old.id)
      : old.href ? [...part.querySelectorAll('a')].find(link => link.href === old.href) : null;
    (same || part.querySelector('h2[tabindex]') || part).focus({preventScroll: true});
  };

  const showPane = () => {
    const pane = paneOf(urlOf(location.href));
    if (body.dataset.pane === pane) return;
    const list = $('items');
    if (list.clientHeight) listTop = list.scrollTop;
    body.dataset.pane = pane;
    if (list.clientHeight && !list.scrollTop) list.scrollTop = listTop;
  };

  const showCounts = () => {
    document.querySelector('.counts').textContent = $('feeds').dataset.counts;
    const unread = Number($('feeds').dataset.unread);
    const title = $('article').dataset.title || $('items').dataset.title;
    document.title = (unread ? `(${unread}) ` : '') + (title ? `${title} – ` : '') + 'Quillmoria';
  };

  const showCurrent = () => {
    const item = chosenItem();
    for (const link of document.querySelectorAll('.row > a[aria-current]')) link.removeAttribute('aria-current');
    const link = item && rowLink(item);
    if (!link) return;
    link.setAttribute('aria-current', 'true');
    reveal(link.parentElement);
  };

  /** Scrolls a pane as little as it takes to see what is in it, below its head. */
  const scrollTo = (pane, part, head = 0) => {
    const box = part.getBoundingClientRect();
    const frame = pane.getBoundingClientRect();
    if (!frame.height) return;
    if (box.top < frame.top + head) pane.scrollTop -= frame.top + head - box.top;
    if (box.bottom > frame.bottom) pane.scrollTop += box.bottom - frame.bottom;
  };

  const reveal = row => scrollTo($('items'), row, $('items').querySelector('.head').offsetHeight);

  /** Shows the chosen feed, if it is another than before. */
  const revealFeed = (fresh, old) => {
    const [chosen, before] = [fresh, old].map(feeds => feeds.querySelector('[aria-current]'));
    if (chosen && (!before || chosen.href !== before.href)) scrollTo(fresh, chosen);
  };

  /** Takes a notice away when it was there long enough, unless it asks for something. */
  const dismissLater = toast => {
    if (!toast || toast.matches('.failed, .lasting')) return;
    const patience = toast.querySelector('button') ? 2 * kNoticeMs : kNoticeMs;
    const leave = () => {
      if (toast.matches(':hover, :focus-within')) setTimeout(leave, patience);
      else toast.remove();
    };
    setTimeout(leave, patience);
  };

  /** Shows notices in the place of those that are there. */
  const tell = (...nodes) => {
    $('notice').replaceChildren(...nodes);
    dismissLater($('notice').firstElementChild);
  };

  const buttonOf = (text, act) => {
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = text;
    button.addEventListener('click', act);
    return button;
  };

  const toastOf = (text, label, act) => {
    const toast = document.createElement('div');
    toast.className = act || text.endsWith('…') ? 'toast lasting' : 'toast';
    const words = document.createElement('p');
    words.textContent = text;
    toast.append(words);
    if (!act) return toast;
    const close = buttonOf('×', () => toast.remove());
    close.className = 'dismiss';
    close.setAttribute('aria-label', 'Dismiss');
    toast.append(buttonOf(label, () => {
      toast.remove();
      act();
    }), close);
    return toast;
  };

  const say = (text, label, act) => tell(toastOf(text, label, act));

  /** Says how a refresh has ended, beside what else there is to say. */
  const sayOutcome = (text, label, act) => {
    const toast = toastOf(text, label, act);
    toast.classList.add('outcome');
    for (const old of document.querySelectorAll('.outcome')) old.remove();
    $('notice').append(toast);
    dismissLater(toast);
  };

  const setLost = isLost => {
    const note = $('lost');
    if (note.hidden === !isLost) return;
    note.hidden = !isLost;
    note.textContent = isLost
      ? 'The reader does not answer: it may have been stopped. Start it again with “quillmoria read”.' : '';
    if (!isLost) return catchUp();
    hangUp();
    retry = setTimeout(listen, kRetryMs);
    body.classList.remove('refreshing');
    $('progress').hidden = true;
    wasRunning = false;
  };

  // Asking the reader.

  let running = new AbortController();

  /** The answer as a document, and its address; none if there is no answer. */
  const ask = async (url, options = {}) => {
    try {
      const response = await fetch(url, {credentials: 'same-origin', ...options});
      const answer = parse(await response.text());
      const isStranger = response.status === 403;  // to another reader, at the same port
      setLost(isStranger);
      if (isStranger) return null;
      if (!response.ok) {
        const reason = answer.querySelector('main p');
        const text = reason ? reason.textContent : 'That did not work: load the page again.';
        say(text, 'Load again', () => location.reload());
        return null;
      }
      return {answer, url: new URL(response.url)};
    } catch (error) {
      if (error.name !== 'AbortError') setLost(true);
      return null;
    }
  };

  const askFor = (url, parts, signal) => {
    const target = new URL(url);
    target.searchParams.set('parts', parts);
    return ask(target, {signal});
  };

  /** Parts of what is shown, also if that has become another view meanwhile. */
  const askForShown = async parts => {
    for (;;) {
      const asked = location.href;
      const got = await askFor(without(urlOf(asked)), parts);
      if (!got || location.href === asked) return got;
    }
  };

  const putParts = (answer, parts) => {
    for (const part of parts.split('.')) put(answer, part);
  };

  /** Puts the feeds of an answer to what was asked by the way, unless the list has been left meanwhile. */
  const putFeeds = ({answer, url}) => {
    if (listOf(url) === listOf(urlOf(location.href))) put(answer, 'feeds');
    else reloadFeeds();
  };

  /** Moves the focus to what a view is about: its article, the row of the item that was left, or its list. */
  const focusOn = (url, from) => {
    const place = paneOf(url) === 'article' ? $('new-address') || $('article-title')
      : listOf(from) === listOf(url) && rowLink(from.searchParams.get('item')) || $('list-title');
    if (place) place.focus({preventScroll: true});
  };

  /** Shows those parts of what is at the address. */
  const load = async (url, parts, {focus = false} = {}) => {
    const from = shown;
    running.abort();
    running = new AbortController();
    const got = await askFor(without(url), parts, running.signal);
    if (!got) return false;
    putParts(got.answer, parts);
    settle();
    if (focus || !document.activeElement.getClientRects().length) focusOn(url, from);
    return true;
  };

  const settle = () => {
    showPane();
    showCurrent();
    showCounts();
    shown = urlOf(location.href);
  };

  let shown = urlOf(location.href);

  /** What the third pane shows. */
  const thirdOf = url => without(url, ...[...url.searchParams.keys()].filter(name =>
    !['item', 'address', isAtFeeds(url) ? '' : 'aside'].includes(name))).search;

  const partsBetween = (from, to) => {
    if (listOf(from) !== listOf(to)) return kAllParts;
    if (thirdOf(from) !== thirdOf(to)) return 'article';
    if (from.searchParams.get('before') !== to.searchParams.get('before')) return 'items';
    return isAtFeeds(from) !== isAtFeeds(to) ? 'feeds' : kAllParts;
  };

  /** Goes to a view, as a link does. */
  const go = async (url, {replace = false, focus = true} = {}) => {
    const target = without(url);
    const from = shown;
    const parts = partsBetween(from, target);
    history[replace ? 'replaceState' : 'pushState'](null, '', target);
    if (listOf(from) === listOf(target)) showCurrent();
    const isThere = await load(target, parts, {focus});
    if (isThere) markOpened();
    return isThere;
  };

  // Items.

  const rowOf = id => $('i' + id);
  const rowLink = id => rowOf(id) && rowOf(id).querySelector('a');
  const rows = () => [...document.querySelectorAll('.row')];
  const openItem = () => $('article').dataset.item;

  const setRow = (id, {read, starred}) => {
    const row = rowOf(id);
    if (!row) return;
    if (read !== undefined) row.classList.toggle('unread', !read);
    if (starred !== undefined) {
      const star = row.querySelector('.star');
      star.setAttribute('aria-pressed', String(starred));
      star.setAttribute('form', starred ? 'unstar' : 'star');
    }
  };

  const kEffects = {
    read: {read: true}, unread: {read: false}, star: {starred: true}, unstar: {starred: false},
  };
  const kOpposites = {read: 'unread', unread: 'read', star: 'unstar', unstar: 'star'};

  let lastNotice = 0;
  let lastPost = null;
  let ownChanges = 0;
  let ownChangeAt = 0;

  /** Sends fields to an action; an answer has the parts of the view that it leads to. */
  const post = async (action, fields, parts) => {
    fields.set('token', body.dataset.token);
    fields.set('back', without(urlOf(location.href)).search.slice(1));
    const target = urlOf(action);
    target.searchParams.set('parts', parts);
    ownChanges += 1;
    lastPost = ask(target, {method: 'POST', body: fields});
    const got = await lastPost;
    ownChanges -= 1;
    ownChangeAt = Date.now();
    if (got) lastNotice = Number(got.url.searchParams.get('notice')) || lastNotice;
    return got;
  };

  const formWith = fields => {
    const data = new FormData();
    for (const [name, value] of Object.entries(fields)) data.set(name, value);
    return data;
  };

  /** Puts the tools of the open item as they are now, and leaves its text alone. */
  const putTools = answer => {
    const fresh = answer.querySelector('#article .tools');
    const old = document.querySelector('#article.item .tools');
    if (!fresh || !old || answer.querySelector('#article').dataset.item !== openItem()) return;
    const focused = old.contains(document.activeElement) && document.activeElement.value;
    const place = [...old.querySelectorAll('button')].indexOf(document.activeElement);
    old.replaceWith(fresh);
    if (focused) fresh.querySelectorAll('button')[place].focus({preventScroll: true});
    const {unread, starred} = answer.querySelector('#article').dataset;
    for (const [name, value] of Object.entries({unread, starred})) {
      if (value === undefined) delete $('article').dataset[name];
      else $('article').dataset[name] = value;
    }
  };

  /** Marks an item, in the list at once. */
  const mark = async (id, how, {quietly = false} = {}) => {
    setRow(id, kEffects[how]);
    const isOpen = id === openItem();
    const parts = 'feeds' + (isOpen ? '.article' : '') + (quietly ? '' : '.status');
    const got = await post('mark', formWith({ids: id, mark: how}), parts);
    if (!got) return setRow(id, kEffects[kOpposites[how]]);
    putFeeds(got);
    if (isOpen) putTools(got.answer);
    if (!quietly) put(got.answer, 'status');
    showCounts();
  };

  const markOpened = () => {
    const {item, unread} = $('article').dataset;
    if (item && unread !== undefined) mark(item, 'read', {quietly: true});
  };

  /** Takes the states of rows from the reader, and leaves the rows where they are. */
  const syncRows = async () => {
    const lists = [...document.querySelectorAll('.rows')];
    if (!lists.length) return load(urlOf(location.href), 'items');
    const seen = new Set();
    for (const list of lists) {
      const got = await askFor(urlOf(list.dataset.page), 'items');
      if (!got) return;
      for (const fresh of got.answer.querySelectorAll('.row')) {
        const star = fresh.querySelector('.star').getAttribute('aria-pressed') === 'true';
        setRow(fresh.id.slice(1), {read: !fresh.classList.contains('unread'), starred: star});
        seen.add(fresh.id);
      }
    }
    if (urlOf(lists[0].dataset.page).searchParams.get('unread') !== '1') return;
    for (const row of rows()) if (!seen.has(row.id)) setRow(row.id.slice(1), {read: true});
  };

  const undo = async () => {
    await lastPost;  // what is under way is what is meant
    if (!lastNotice) return;
    const got = await post('undo', formWith({notice: lastNotice}), 'feeds.article.status');
    lastNotice = 0;
    if (!got) return;
    putFeeds(got);
    put(got.answer, 'status');
    putTools(got.answer);
    await syncRows();
    showCounts();
  };

  // The list: pages are added at its end and at its start, and go from the other one.

  let ends = null;
  let isExtending = false;
  let pagesAbove = [];

  const watchEnds = () => {
    pagesAbove = [];
    observeEnds();
  };

  const observeEnds = () => {
    if (ends) ends.disconnect();
    ends = new IntersectionObserver(seen => {
      if (seen.some(entry => entry.isIntersecting)) extendDown();
    }, {root: $('items'), rootMargin: '600px'});
    if ($('older')) ends.observe($('older'));
  };

  /** Keeps what the user looks at where it is while `change` changes the list. */
  const inPlace = change => {
    const list = $('items');
    const top = list.getBoundingClientRect().top;
    const anchor = rows().find(row => row.getBoundingClientRect().bottom > top);
    const before = anchor && anchor.getBoundingClientRect().top;
    list.style.overflowAnchor = 'none';
    change();
    if (anchor && anchor.isConnected) list.scrollTop += anchor.getBoundingClientRect().top - before;
    list.style.overflowAnchor = '';
  };

  const endLink = (id, text, address, place) => {
    let link = $(id);
    if (!address) return link && link.remove();
    if (!link) {
      link = document.createElement('a');
      link.id = id;
      link.className = 'action';
      link.textContent = text;
      place(link);
    }
    link.setAttribute('href', address);
  };

  const setOlder = address => endLink('older', 'Older items', address, link => $('items').append(link));
  const setNewer = address =>
    endLink('newer', 'Newer items', address, link => document.querySelector('.rows').before(link));

  /** Adds the page behind the last one; true if there are more rows than before. */
  const extendDown = async () => {
    const older = $('older');
    if (!older || isExtending) return false;
    isExtending = true;
    const got = await askFor(older.href, 'items');
    isExtending = false;
    if (!got || !older.isConnected) return false;
    const page = got.answer.querySelector('.rows');
    const next = got.answer.getElementById('older');
    if (!page) {
      older.remove();
      return false;
    }
    const known = new Set(rows().map(row => row.id));
    for (const row of page.querySelectorAll('.row')) if (known.has(row.id)) row.remove();
    inPlace(() => {
      [...document.querySelectorAll('.rows')].pop().after(page);
      setOlder(next && next.getAttribute('href'));
      while (rows().length > kMaxRows) {
        const first = document.querySelector('.rows');
        pagesAbove.push(first.dataset.page);
        first.remove();
      }
      if (pagesAbove.length) setNewer(pagesAbove.at(-1));
    });
    showCurrent();
    observeEnds();
    return page.childElementCount > 0;
  };

  /** Brings the last page back that went from the start. */
  const extendUp = async () => {
    if (!pagesAbove.length || isExtending) return false;
    isExtending = true;
    const got = await askFor(urlOf(pagesAbove.at(-1)), 'items');
    isExtending = false;
    const page = got && got.answer.querySelector('.rows');
    if (!page || !pagesAbove.length) return false;
    pagesAbove.pop();
    const known = new Set(rows().map(row => row.id));
    for (const row of page.querySelectorAll('.row')) if (known.has(row.id)) row.remove();
    inPlace(() => {
      document.querySelector('.rows').before(page);
      while (rows().length > kMaxRows) {
        const last = [...document.querySelectorAll('.rows')].pop();
        setOlder(last.dataset.page);
        last.remove();
      }
      setNewer(pagesAbove.at(-1));
    });
    observeEnds();
    return true;
  };

  // Moving through the list.

  /** How many rows stand above what is seen of the list. */
  const rowsAbove = all => {
    const top = document.querySelector('.head').getBoundingClientRect().bottom;
    return Math.max(all.findIndex(row => row.getBoundingClientRect().top >= top - 1), 0);
  };

  const neighbour = async (from, step, isWanted = () => true) => {
    for (;;) {
      const all = rows();
      const start = from ? all.indexOf(from) : rowsAbove(all) - 1;
      const rest = step > 0 ? all.slice(start + 1) : all.slice(0, Math.max(start, 0)).reverse();
      const found = rest.find(isWanted);
      if (found) return found;
      if (!await (step > 0 ? extendDown() : extendUp())) return null;
    }
  };

  /** The item that the address names; its article may still be on its way. */
  const chosenItem = () => urlOf(location.href).searchParams.get('item');
  const currentRow = () => rowOf(chosenItem());

  const openRow = row => {
    const url = urlOf(row.querySelector('a').href);
    return go(url, {replace: urlOf(location.href).searchParams.has('item')});
  };

  const openNeighbour = async (step, isWanted) => {
    const row = await neighbour(currentRow(), step, isWanted);
    if (row) await openRow(row);
  };

  const moveFocus = async step => {
    const focused = document.activeElement && document.activeElement.closest('.row');
    const row = await neighbour(focused || currentRow(), step);
    if (!row) return;
    row.querySelector('a').focus({preventScroll: true});
    reveal(row);
  };

  // The article.

  let sizes = null;

  const dressArticle = () => {
    const frame = $('text');
    if (sizes) sizes.disconnect();
    if (!frame) return;
    const fit = () => {
      const page = frame.contentDocument;
      if (!page || !page.body) return;
      frame.style.height = `${Math.ceil(page.documentElement.getBoundingClientRect().height) + 2}px`;
    };
    const dress = () => {
      const page = frame.contentDocument;
      if (!page || !page.body || page.URL === 'about:blank') return;
      sizes = new ResizeObserver(fit);
      sizes.observe(page.documentElement);
      page.addEventListener('keydown', onKey);
      fit();
    };
    frame.addEventListener('load', dress);
    dress();
  };

  /** Scrolls the article on; false at its end. */
  const scrollOn = () => {
    const pane = $('article');
    if (pane.scrollTop + pane.clientHeight >= pane.scrollHeight - 4) return false;
    pane.scrollBy({top: pane.clientHeight * 0.85});
    return true;
  };

  // Keys.

  const press = selector => {
    const target = document.querySelector(selector);
    if (target) target.click();
  };

  const currentItem = () => {
    const focused = document.activeElement && document.activeElement.closest('.row');
    return focused ? focused.id.slice(1) : chosenItem();
  };

  const toggle = (isOn, on, off) => {
    const id = currentItem();
    if (id) mark(id, isOn(id) ? off : on);
  };

  const isUnread = id => {
    const row = rowOf(id);
    return row ? row.classList.contains('unread') : $('article').dataset.unread !== undefined;
  };

  const isStarred = id => {
    const row = rowOf(id);
    return row ? row.querySelector('.star').getAttribute('aria-pressed') === 'true'
      : $('article').dataset.starred !== undefined;
  };

  /** Leaves what the third pane shows, else a search. */
  const leave = () => {
    if ($('close')) return press('#close');
    const url = urlOf(location.href);
    if (url.searchParams.has('q')) go(without(url, 'q', 'before'));
  };

  const kKeys = {
    'j': () => openNeighbour(1),
    'k': () => openNeighbour(-1),
    'n': () => moveFocus(1),
    'p': () => moveFocus(-1),
    'm': () => toggle(isUnread, 'unread', 'read'),
    's': () => toggle(isStarred, 'star', 'unstar'),
    'o': () => press('#original'),
    'u': undo,
    'r': () => $('refresh').requestSubmit(),
    '/': async () => {
      if (!$('items').clientHeight) await go(without(urlOf(location.href), 'item', 'aside', 'address'));
      $('q').focus();
      $('q').select();
    },
    '?': () => {
      const url = without(urlOf(location.href), 'item', 'address');
      url.searchParams.set('aside', 'help');
      go(url);
    },
    'Escape': leave,
    ' ': () => scrollOn() || openNeighbour(1, row => row.classList.contains('unread')),
  };

  const kPlaces = {a: './', u: './?unread=1', s: './?starred=1'};
  let isGoing = false;

  const isTyping = element => element && element.closest &&
    element.closest('input:not([type=radio], [type=checkbox], [type=button]), textarea, select, [contenteditable]');

  const onKey = event => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.isComposing || event.defaultPrevented) return;
    if (isTyping(event.target)) {
      if (event.key === 'Escape') event.target.blur();
      return;
    }
    const isControl = event.target.closest && event.target.closest('button, a, summary, audio, video');
    if (event.key === ' ' && (event.shiftKey || isControl)) return;
    const place = isGoing && kPlaces[event.key];
    isGoing = event.key === 'g';
    const act = place ? () => go(urlOf(place)) : kKeys[event.key];
    if (!act) return;
    event.preventDefault();
    act();
  };

  // Links and forms.

  const onClick = event => {
    if (event.defaultPrevented || event.button) return;
    if (event.ctrlKey || event.shiftKey || event.altKey || event.metaKey) return;
    const link = event.target.closest && event.target.closest('a[href]');
    if (!link || link.target || link.hasAttribute('download')) return;
    const url = urlOf(link.href);
    if (!isPage(url) || url.hash) return;
    event.preventDefault();
    if (link.classList.contains('dismiss')) {
      link.closest('.toast').remove();
    } else if (link.id === 'newer' && pagesAbove.length) {
      extendUp();
    } else if (link.id === 'older') {
      extendDown();
    } else {
      go(url, {focus: !link.closest('.row') || event.detail === 0});
    }
  };

  /** The parts that an action may change beside what is said of it. */
  const partsAfter = action => {
    switch (action) {
      case 'mark': return 'feeds.items.status';
      case 'refresh': case 'stop': return 'status';
      case 'images': return 'article.status';
      default: return kAllParts;
    }
  };

  const send = async (form, button) => {
    const action = form.getAttribute('action');
    const fields = new FormData(form);
    if (button && button.name) fields.set(button.name, button.value);
    if (action === 'undo') {
      lastNotice = Number(fields.get('notice'));
      return undo();
    }
    if (action === 'mark' && fields.get('ids')) return mark(fields.get('ids'), fields.get('mark'));
    // A disabled one would lose the focus.
    if (button && button.getAttribute('aria-disabled')) return;
    if (button) button.setAttribute('aria-disabled', 'true');
    if (action === 'add') say('Looking for the feed…');
    const parts = partsAfter(action);
    const from = without(urlOf(location.href)).search;
    const got = await post(action, fields, parts);
    if (button) button.removeAttribute('aria-disabled');
    if (!got) return;
    const target = without(got.url);
    const isElsewhere = target.search !== from;
    if (!isElsewhere && without(urlOf(location.href)).search !== from) {
      // What was sent came from a view that has been left meanwhile.
      put(got.answer, 'status');
      return follow();
    }
    if (isElsewhere) {
      running.abort();
      history.pushState(null, '', target);
    }
    const hasFailed = got.answer.querySelector('.toast.failed');
    // What was typed stays where it can be put right.
    putParts(got.answer, hasFailed && !isElsewhere ? 'status' : parts);
    settle();
  };

  const onSubmit = event => {
    const form = event.target;
    if (event.defaultPrevented) return;
    event.preventDefault();
    if (form.method === 'post') return void send(form, event.submitter);
    const url = urlOf('./');
    for (const [name, value] of new FormData(form)) if (value.trim()) url.searchParams.set(name, value);
    go(url);
  };

  // What the reader tells by itself.

  let stream = null;
  let wasRunning = null;
  let changes = 0;
  let retry = 0;

  const counted = (count, noun) => `${count} ${noun}${count === 1 ? '' : 's'}`;

  const showProgress = state => {
    const bar = $('progress');
    body.classList.toggle('refreshing', state.running);
    if (!state.running && bar.contains(document.activeElement)) $('refresh').querySelector('button').focus();
    bar.hidden = !state.running;
    const progress = bar.querySelector('progress');
    progress.max = state.all || 1;
    progress.value = state.done;
    const failed = state.failed ? `, ${state.failed} failed` : '';
    $('progress-counts').textContent =
      `${state.done} of ${counted(state.all, 'feed')}, ${counted(state.new, 'new item')}${failed}`;
    $('progress-feed').textContent = state.feed || '';
  };

  const reloadList = () => {
    const url = without(urlOf(location.href), 'before');
    history.replaceState(null, '', url);
    load(url, 'feeds.items').then(() => {
      $('items').scrollTop = 0;
    });
  };

  const showOutcome = state => {
    const failed = state.failed ? ` ${counted(state.failed, 'feed')} failed.` : '';
    if (state.offline) {
      sayOutcome('Offline: nothing was fetched.');
    } else if (!state.new) {
      sayOutcome(`Nothing new.${failed}`);
    } else if (!document.querySelector('.row')) {
      sayOutcome(`${counted(state.new, 'new item')}.${failed}`);
      load(urlOf(location.href), 'items');
    } else {
      sayOutcome(`${counted(state.new, 'new item')}.${failed}`, 'Show', reloadList);
    }
  };

  const onState = event => {
    const state = JSON.parse(event.data);
    showProgress(state);
    if (wasRunning && !state.running && state.all) {
      reloadFeeds();
      showOutcome(state);
    }
    wasRunning = state.running;
  };

  const reloadFeeds = async () => {
    const parts = $('article').classList.contains('live') ? 'feeds.article' : 'feeds';
    const got = await askForShown(parts);
    if (!got) return;
    putParts(got.answer, parts);
    showCounts();
  };

  /** Takes what has changed elsewhere, once it is quiet there. */
  const follow = () => {
    clearTimeout(changes);
    changes = setTimeout(async () => {
      const got = await askForShown('feeds.article');
      if (!got) return;
      put(got.answer, 'feeds');
      putTools(got.answer);
      await syncRows();
      showCounts();
    }, 300);
  };

  /** Shows what could not be had while the reader was away. */
  const catchUp = () => {
    const url = urlOf(location.href);
    if (without(url).search !== without(shown).search) load(url, partsBetween(shown, url)).then(markOpened);
    follow();
  };

  const onChanged = () => {
    if (!ownChanges && Date.now() - ownChangeAt > 1000) follow();
  };

  let feedsSoon = 0;

  /** Counts follow while feeds come, though not at every one. */
  const onFeed = () => {
    if (feedsSoon) return;
    feedsSoon = setTimeout(() => {
      feedsSoon = 0;
      reloadFeeds();
    }, 2000);
  };

  const hangUp = () => {
    clearTimeout(retry);
    if (stream) stream.close();
    stream = null;
  };

  // Only while the page is looked at: a browser has few connections to a server for all its tabs.
  const listen = () => {
    hangUp();
    if (document.hidden) return;
    stream = new EventSource('events');
    stream.addEventListener('open', () => setLost(false));
    stream.addEventListener('state', onState);
    stream.addEventListener('changed', onChanged);
    stream.addEventListener('feed', onFeed);
    stream.addEventListener('error', () => {
      hangUp();
      askFor(without(urlOf(location.href)), 'status');  // which tells whether the reader is there
      retry = setTimeout(listen, kRetryMs);
    });
  };

  const onVisibility = () => {
    if (document.hidden) return hangUp();
    listen();
    follow();
  };

  document.addEventListener('click', onClick);
  document.addEventListener('submit', onSubmit);
  document.addEventListener('keydown', onKey);
  document.addEventListener('visibilitychange', onVisibility);
  window.addEventListener('pagehide', hangUp);
  window.addEventListener('popstate', () => {
    const url = urlOf(location.href);
    running.abort();
    if (without(url).search !== without(shown).search) load(url, partsBetween(shown, url), {focus: true});
    else showCurrent();
  });

  const notice = urlOf(location.href).searchParams.get('notice');
  if (notice) {
    lastNotice = Number(notice);
    history.replaceState(null, '', without(urlOf(location.href)));
  }
  watchEnds();
  dressArticle();
  settle();
  const [navigation] = performance.getEntriesByType('navigation');
  if (!navigation || navigation.type === 'navigate') markOpened();
  listen();
})();
