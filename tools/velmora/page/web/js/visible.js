// Texts from outside. What cannot be seen, or changes how its neighbours are read, becomes a mark.

const hidden =
    /[\u0000-\u001f\u007f-\u009f\u00ad\u034f\u061c\u115f\u1160\u17b4\u17b5\u180b-\u180f\u200b-\u200f\u2028-\u202e\u2060-\u206f\u3164\ufe00-\ufe0f\ufeff\uffa0\ufff0-\uffff\ud800-\udfff]|[\u{e0000}-\u{e0fff}]/gu;

const names = new Map([[0x0a, 'LF'], [0x0d, 'CR'], [0x09, 'TAB'], [0x00, 'NUL']]);

function nameOf(character) {
    const code = character.codePointAt(0);
    return names.get(code) ?? 'U+' + code.toString(16).toUpperCase().padStart(4, '0');
}

/** The text as nodes; it is never read as markup. */
export function visible(text) {
    const fragment = document.createDocumentFragment();
    let from = 0;
    for (const match of text.matchAll(hidden)) {
        if (match.index > from) {
            fragment.append(text.slice(from, match.index));
        }
        const mark = document.createElement('span');
        mark.className = 'mark';
        mark.textContent = nameOf(match[0]);
        fragment.append(mark);
        from = match.index + match[0].length;
    }
    fragment.append(text.slice(from));
    return fragment;
}

/** The same for where no mark can stand: titles and labels. */
export function plain(text) {
    return text.replace(hidden, character => `⟨${nameOf(character)}⟩`);
}
