// Which addresses are the same, whatever their text.

// Of IPv6, browsers know the shortest text; a name or a text that is no address stays as it is.
function canonical(address) {
  if (typeof address !== "string") return JSON.stringify(address);
  const bare = address.replace(/^\[(.*)\]$/s, "$1").replace(/%.*$/s, "");
  if (!bare.includes(":")) return bare;
  try {
    return new URL(`http://[${bare}]/`).hostname;
  } catch {
    return bare;
  }
}

export function isSameAddress(a, b) {
  return a === b || canonical(a) === canonical(b);
}

// The sockets to the endpoint itself, without those to the other addresses of its name.
export function socketsToEndpoint({ sockets, otherAddresses }) {
  if (otherAddresses.length === 0) return sockets;
  return sockets.filter(({ remoteAddress }) =>
    !otherAddresses.some(({ address }) => isSameAddress(address, remoteAddress)));
}
