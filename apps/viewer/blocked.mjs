// Why the packets of a socket cannot leave.

// States that are down; "unknown" is not.
const DOWN = [2, 3, 5, 6, 7];

function isDown({ ordinal }, interfaces) {
  const rows = interfaces.filter((row) => row.ordinal === ordinal);
  return rows.length > 0 && rows.every(({ operStatus }) => DOWN.includes(operStatus));
}

// The interface that is down; undefined if the system has no route. A route is known to be absent
// where the bound device is down, too.
export function downInterface({ hasNoWayOut, boundDevice, byRoute }, interfaces) {
  if (!hasNoWayOut) return undefined;
  return [boundDevice, byRoute].filter(Boolean).find((row) => isDown(row, interfaces));
}
