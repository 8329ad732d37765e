// Numbers, times and identifiers as people read them.

const thousands = new Intl.NumberFormat('en');
const clock = new Intl.DateTimeFormat('en-GB', {timeStyle: 'medium'});
const day = new Intl.DateTimeFormat('en-GB', {dateStyle: 'medium'});
const exact = new Intl.DateTimeFormat('en-GB', {
    year: 'numeric', month: 'short', day: 'numeric', hour: '2-digit', minute: '2-digit',
    second: '2-digit', fractionalSecondDigits: 3, timeZoneName: 'longOffset',
});

export function number(value) {
    return thousands.format(value);
}

/** "1 request", "1,200 requests". */
export function count(value, word) {
    return `${number(value)} ${word}${value === 1 ? '' : 's'}`;
}

export function bytes(value) {
    if (value < 1000) {
        return `${value} B`;
    }
    return value < 1e6 ? `${(value / 1e3).toFixed(1)} KB` : `${(value / 1e6).toFixed(1)} MB`;
}

export function time(milliseconds) {
    return clock.format(milliseconds);
}

export function exactTime(milliseconds) {
    return exact.format(milliseconds);
}

/** With the day when it is not today's. */
export function moment(milliseconds) {
    const isToday = day.format(milliseconds) === day.format(Date.now());
    return isToday ? time(milliseconds) : `${day.format(milliseconds)}, ${time(milliseconds)}`;
}

export function date(milliseconds) {
    return day.format(milliseconds);
}

export function duration(milliseconds) {
    const seconds = Math.round(milliseconds / 1000);
    if (seconds < 90) {
        return count(seconds, 'second');
    }
    const minutes = Math.round(seconds / 60);
    return minutes < 90 ? count(minutes, 'minute') : count(Math.round(minutes / 60), 'hour');
}

/** As the beginning of a sentence; names in quotes stay as they are. */
export function sentence(text) {
    return text.slice(0, 1).toUpperCase() + text.slice(1);
}

/** The two ends of an identifier. */
export function middle(identifier, ends = 6) {
    const characters = [...identifier];
    return characters.length <= 2 * ends + 1
        ? identifier
        : `${characters.slice(0, ends).join('')}…${characters.slice(-ends).join('')}`;
}

/** [[1, 3], [7, 7]] as "1–3, 7". */
export function rangesInWords(ranges) {
    return ranges.map(([first, last]) => (first === last ? `${first}` : `${first}–${last}`))
        .join(', ');
}

export function countIn(ranges) {
    return ranges.reduce((sum, [first, last]) => sum + last - first + 1, 0);
}
