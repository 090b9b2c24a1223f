// Why the packets of a socket cannot leave.

// States that are down; "unknown" is not.
const DOWN = [2, 3, 5, 6, 7];

// The ordinals of the interfaces that are down in all their rows.
export function downOrdinals(interfaces) {
  const isDown = ({ operStatus }) => DOWN.includes(operStatus);
  const others = new Set(interfaces.filter((row) => !isDown(row)).map(({ ordinal }) => ordinal));
  return new Set(interfaces.map(({ ordinal }) => ordinal)
    .filter((ordinal) => !others.has(ordinal)));
}

// The interface that is down; undefined if the system has no route. A route is known to be absent
// where the bound device is down, too.
export function downInterface({ hasNoWayOut, boundDevice, byRoute }, down) {
  if (!hasNoWayOut) return undefined;
  return [boundDevice, byRoute].filter(Boolean).find(({ ordinal }) => down.has(ordinal));
}
