// A request as a command for a shell. The body is packed again on the way.

function quoted(text) {
    return `'${text.replaceAll("'", `'\\''`)}'`;
}

// What curl and the network make themselves.
const own = new Set(['host', 'content-length', 'connection', 'accept-encoding']);

export function curlFor(detail, listening) {
    const headers = detail.headers.filter(({name}) => !own.has(name.toLowerCase()))
        .map(({name, value}) => `-H ${quoted(`${name}: ${value}`)}`);
    const base = (listening || 'http://127.0.0.1:8080/').replace(/\/$/, '');
    const body = detail.isWhole ? `printf %s ${quoted(detail.text)}` : `cat request-${detail.number}.json`;
    return [`${body} | gzip -9n |`,
        `curl -X ${quoted(detail.method)} ${headers.join(' ')} --data-binary @- ${quoted(base + detail.path)}`]
        .join(' ');
}
