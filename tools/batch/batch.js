'use strict';
// Sorting, and a slider between any two pictures of a card. Without this script the page shows the same
// pictures and numbers, and links to the files.
const cards = document.getElementById('cards');
const viewer = document.getElementById('viewer');
const byId = (id) => document.getElementById(id);
const ascending = new Set(['ssim', 'psnr_y', 'name']);

function sortCards(key) {
    const value = (card) => (key === 'name' ? card.dataset.name : Number(card.getAttribute('data-' + key)));
    const direction = ascending.has(key) ? 1 : -1;
    const sorted = [...cards.children].sort(
        (a, b) => key === 'name' ? value(a).localeCompare(value(b)) : direction * (value(a) - value(b)));
    cards.append(...sorted);
}

let shown = null;

function showSides() {
    for (const side of ['left', 'right']) {
        const link = shown.querySelectorAll('.shot')[byId(side).selectedIndex];
        const picture = byId(side + '-picture');
        if (picture.getAttribute('src') !== link.getAttribute('href')) {
            picture.src = link.getAttribute('href');
        }
        // A file that went away leaves its small picture.
        picture.onerror = () => {
            picture.onerror = null;
            picture.src = link.querySelector('img').src;
        };
        picture.alt = link.querySelector('img').alt;
    }
    byId('left-picture').style.clipPath = `inset(0 ${100 - byId('split').value}% 0 0)`;
    byId('stage').style.setProperty('--split', byId('split').value + '%');
}

function show(card) {
    shown = card;
    byId('viewer-name').textContent = card.dataset.name;
    const labels = [...card.querySelectorAll('.shot')].map((shot) => shot.dataset.label);
    for (const [side, preferred] of [['left', 0], ['right', 1]]) {
        const select = byId(side);
        const before = select.selectedIndex;
        select.replaceChildren(...labels.map((label) => new Option(label)));
        select.selectedIndex =
            before >= 0 && before < labels.length ? before : Math.min(preferred, labels.length - 1);
    }
    showSides();
    if (!viewer.open) {
        viewer.showModal();
    }
}

function step(by) {
    const all = [...cards.children];
    show(all[(all.indexOf(shown) + by + all.length) % all.length]);
}

for (const card of cards.children) {
    const button = card.querySelector('.compare');
    button.hidden = false;
    button.addEventListener('click', () => show(card));
}
byId('controls').hidden = false;
byId('order').addEventListener('change', (event) => sortCards(event.target.value));
for (const id of ['left', 'right', 'split']) {
    byId(id).addEventListener('input', showSides);
}
byId('close').addEventListener('click', () => viewer.close());
byId('previous').addEventListener('click', () => step(-1));
byId('next').addEventListener('click', () => step(1));
byId('stage').addEventListener('pointermove', (event) => {
    const box = byId('stage').getBoundingClientRect();
    byId('split').value = (100 * (event.clientX - box.left)) / box.width;
    showSides();
});
