// Whether a host was asked at all: the page gives lists that no file has this reason.
const NOT_TAKEN = "not taken";

export function isNotTaken({ failures }, list) {
  return failures[list] === NOT_TAKEN;
}

export function hasNoHost(details) {
  return isNotTaken(details, "adapters") && isNotTaken(details, "sockets");
}
