// What is drawn of details.
import assert from "node:assert/strict";
import { test } from "node:test";

import { groupBoxes } from "../../apps/viewer/boxes.mjs";
import { layoutOf } from "../../apps/viewer/layout.mjs";
import { edgesOf, groupsOf, leavingThrough, modelOf } from "../../apps/viewer/model.mjs";
import { TUN, WAN, WITHOUT_CHOICE, detailsOf, socket } from "./details.mjs";

const explain = (key, word) => ({ meaning: `${key} is ${word}`, whatToDo: `see ${word}` });
const model = (members) => modelOf(detailsOf(members), explain);

test("sockets with the same evidence are one group, those that count first", () => {
  const groups = groupsOf([
    socket({ role: "NOT_COUNTED" }), socket({ role: "TRYING" }), socket(), socket({ localPort: 2 }),
    socket({ decidedBy: "PACKETS" }), socket({ leavesThrough: [TUN] }), socket({ bySource: [] }),
    socket({ protocol: "UDP" }), socket({ hasNoWayOut: true }), socket({ remoteAddress: "::1" }),
  ]);
  assert.deepEqual(groups.map(({ role }) => role),
                   [...Array(7).fill("COUNTED"), "TRYING", "NOT_COUNTED"]);
  assert.equal(groups[0].count, 2);
  assert.deepEqual(groups[0].sample.map(({ localPort }) => localPort), [51000, 2]);
});

test("groups with many interfaces are told apart by which evidence names them", () => {
  assert.equal(groupsOf([socket({ bySource: [WAN, TUN], leavesThrough: [] }),
                         socket({ bySource: [WAN], leavesThrough: [TUN] })]).length, 2);
});

test("an edge has the evidence for its interface", () => {
  const [group] = groupsOf([socket({ leavesThrough: [TUN] })]);
  assert.deepEqual(edgesOf(group), [
    { ordinal: 3, leaves: true, label: "by route" },
    { ordinal: 2, leaves: false, label: "by source address" },
  ]);
  const [agreed] = groupsOf([socket({ decidedBy: "BOUND_DEVICE" })]);
  assert.deepEqual(edgesOf(agreed).map(({ label }) => label),
                   ["by source address and bound device"]);
});

test("the interface of the traffic is the one of the strongest evidence", () => {
  const rows = [
    [{}, [2]],
    [{ crossCheck: { status: "DISAGREES", interface: TUN } }, [3]],
    [{ crossCheck: { status: "SEVERAL" },
       sockets: [socket({ leavesThrough: [TUN] }), socket()] }, [2, 3]],
    [{ crossCheck: { status: "UNKNOWN" }, sockets: [socket({ leavesThrough: [] })] }, [2]],
    [{ crossCheck: { status: "UNKNOWN" }, report: WITHOUT_CHOICE, sockets: [] }, []],
    [{ crossCheck: { status: "NO_SOCKET" },
       sockets: [socket({ role: "NOT_COUNTED" })] }, []],
  ];
  for (const [members, want] of rows) assert.deepEqual(leavingThrough(detailsOf(members)), want);
});

test("the interfaces of other addresses count if they differ", () => {
  const members = {
    otherAddresses: [{ address: "198.51.100.11", interface: TUN }],
    sockets: [socket(), socket({ remoteAddress: "198.51.100.11", leavesThrough: [TUN] })],
    crossCheck: { status: "SEVERAL" },
  };
  assert.deepEqual(leavingThrough(detailsOf(members)), [2]);
  assert.deepEqual(leavingThrough(detailsOf({ ...members, doAddressesAgree: false })), [2, 3]);
});

test("a box says where its sockets go if that is not the endpoint", () => {
  const endpoint = { status: "OK", address: "[2001:db8::1]", port: 443 };
  const texts = (remoteAddress) => groupBoxes(model({ endpoint,
    sockets: [socket({ remoteAddress })] }))[0].lines.map(({ text }) => text);
  assert.ok(!texts("2001:db8:0::1").includes("to"));
  assert.deepEqual(texts("2001:db8::2").slice(-2), ["to", "[2001:db8::2]:443"]);
});

test("interfaces have their roles, states and default routes", () => {
  const { interfaces } = model({
    crossCheck: { status: "DISAGREES", interface: TUN },
    sockets: [socket({ leavesThrough: [TUN] })],
  });
  assert.deepEqual(interfaces.map(({ role }) => role), ["other", "named", "leaves"]);
  assert.deepEqual(interfaces.map(({ state }) => state), ["up", "up", "down"]);
  assert.deepEqual(interfaces[1].routes, [{ family: 4, metric: 9 }]);
  const trying = model({ crossCheck: { status: "TRYING", interface: TUN },
                         report: WITHOUT_CHOICE });
  assert.equal(trying.interfaces[2].role, "attempts");
});

test("rows of one interface are one box", () => {
  const { interfaces } = model({ interfaces: [
    { ...WAN, operStatus: 1, addresses: ["10.0.0.7"] },
    { ...WAN, operStatus: 1, addresses: ["fd00::7"] },
  ] });
  assert.deepEqual(interfaces.map(({ addresses }) => addresses), [["10.0.0.7", "fd00::7"]]);
});

test("the way stops with the status and its meaning", () => {
  const walk = model({ endpoint: { status: "DETOUR_CYCLE" },
                       way: { entered: [{ tag: "proxy", type: "t" }], soughtTag: "proxy" } });
  assert.deepEqual(walk.way.stop, { word: "DETOUR_CYCLE",
                                    meaning: "activeEndpointStatus is DETOUR_CYCLE",
                                    whatToDo: "see DETOUR_CYCLE" });
  assert.equal(walk.way.soughtTag, "proxy");
  assert.equal(walk.endpoint, undefined);
  const config = model({ endpoint: { status: "NOT_EVALUATED_CONFIG_UNAVAILABLE" },
                         report: { configStatus: "NO_CONFIG" }, way: { entered: [] } });
  assert.equal(config.way.stop.word, "NO_CONFIG");
});

test("lists that are missing stop the picture", () => {
  const failed = model({ sockets: [], interfaces: [], report: {
    socketSourcesStatus: "SOCKET_ENUM_FAILED", interfacesStatus: "ADAPTER_ENUM_FAILED" } });
  assert.equal(failed.groupsStop.word, "SOCKET_ENUM_FAILED");
  assert.equal(failed.interfacesStop.word, "ADAPTER_ENUM_FAILED");
  const none = model({ sockets: [], crossCheck: { status: "NO_SOCKET" } });
  assert.equal(none.groupsStop.word, "NO_SOCKET");
});

test("long ways, many groups and many interfaces are folded", () => {
  const entered = Array.from({ length: 65 }, (_, i) => ({ tag: `${i}`, type: "t" }));
  const sockets = Array.from({ length: 300 }, (_, i) =>
    socket({ leavesThrough: [{ ordinal: i + 1 }], bySource: [] }));
  const interfaces = Array.from({ length: 300 }, (_, i) =>
    ({ ordinal: i + 1, operStatus: 1, addresses: [] }));
  const folded = model({ way: { entered }, sockets, interfaces });
  assert.equal(folded.way.steps.length, 13);
  assert.deepEqual(folded.way.steps[6], { hidden: 53 });
  assert.deepEqual([folded.groups.length, folded.hiddenSockets], [6, 294]);
  assert.deepEqual([folded.interfaces.length, folded.hiddenInterfaces], [8, 292]);
});

test("every edge begins and ends at a box, at every width", () => {
  const drawn = model({ sockets: [socket({ leavesThrough: [TUN] }), socket()] });
  for (const width of [280, 500, 759, 760, 1200]) {
    const { boxes, edges } = layoutOf(drawn, width);
    const tips = edges.filter(({ kind, tip }) => tip !== undefined && kind !== "way");
    assert.equal(tips.length, 3);
    for (const { tip } of tips) {
      assert.ok(boxes.some(({ kind, x, y, width: w, height }) => kind === "interface" &&
        (tip.x === x || tip.x === x + w) && tip.y > y && tip.y < y + height));
    }
  }
});
