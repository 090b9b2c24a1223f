// What is drawn of details.
import assert from "node:assert/strict";
import { test } from "node:test";

import { groupBoxes, interfaceBoxes, stubText } from "../../apps/viewer/boxes.mjs";
import { layoutOf } from "../../apps/viewer/layout.mjs";
import { edgesOf, groupsOf, leavingThrough, modelOf } from "../../apps/viewer/model.mjs";
import { plain } from "../../apps/viewer/say.mjs";
import { wayInWords } from "../../apps/viewer/way_text.mjs";
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
                         report: WITHOUT_CHOICE,
                         sockets: [socket({ role: "TRYING", leavesThrough: [TUN] })] });
  assert.equal(trying.interfaces[2].role, "attempts");
});

test("an interface has no more words than the evidence for it", () => {
  const unknown = socket({ decidedBy: "NONE", byRoute: undefined, leavesThrough: [] });
  const crossCheck = { status: "UNKNOWN" };
  const role = (sockets) => model({ crossCheck, sockets }).interfaces[1].role;
  assert.equal(role([unknown]), "bySource");
  assert.equal(role([socket(), unknown]), "some");
  const { interfaces } = model({ sockets: [socket(), unknown], doAddressesAgree: false,
    otherAddresses: [{ address: "198.51.100.11", crossCheckStatus: "UNKNOWN", interface: TUN }] });
  assert.deepEqual(interfaces.map((row) => row.role), ["other", "some", "bySource"]);
});

const MANY = Array.from({ length: 30 }, (_, i) =>
  ({ ordinal: i + 1, name: `if${i + 1}`, operStatus: 1, addresses: ["10.0.0.7"] }));

test("the interface of the answer is shown, and edges to others are counted", () => {
  const many = model({ interfaces: MANY, report: { ...WITHOUT_CHOICE, defaultRoutes: [] },
                       crossCheck: { status: "SETTLES", interface: MANY[29] },
                       sockets: [socket({ bySource: MANY, leavesThrough: [MANY[29]] })] });
  assert.deepEqual(many.interfaces.map(({ name }) => name),
                   ["if1", "if2", "if3", "if4", "if5", "if6", "if7", "if30"]);
  assert.equal(many.interfaces[7].role, "leaves");
  const [{ edges, hiddenEdges }] = many.groups;
  assert.deepEqual([edges[0].ordinal, edges.length, hiddenEdges], [30, 8, 22]);
  const lines = (width) => layoutOf(many, width).boxes.find(({ kind }) => kind === "group").lines;
  for (const width of [400, 1200]) {
    const texts = lines(width).map(({ text }) => text).join(" ");
    assert.match(texts, /\u2192 and 22 more interfaces$/);
  }
  assert.doesNotMatch(lines(400).map(({ text }) => text).join("\n"), /\u2192  by/);
  assert.match(wayInWords(many).map(plain).join("\n"), / and 22 more interfaces\./);
});

test("more interfaces than are shown do not hide the one that the report names", () => {
  const { interfaces } = model({ interfaces: MANY, report: { selectedInterfaceOrdinal: 25 },
                                 crossCheck: { status: "DISAGREES", interface: MANY[29] },
                                 sockets: [socket({ bySource: MANY,
                                                    leavesThrough: [MANY[29]] })] });
  assert.deepEqual(interfaces.slice(-2).map(({ name, role }) => [name, role]),
                   [["if25", "named"], ["if30", "leaves"]]);
});

test("sockets without a way out are told apart by what is down", () => {
  const stuck = (members) =>
    socket({ hasNoWayOut: true, leavesThrough: [], bySource: [], ...members });
  const { groups, interfaces } = model({ crossCheck: { status: "NO_WAY_OUT" }, sockets: [
    stuck({ byRoute: null }), stuck({ byRoute: TUN }),
    stuck({ byRoute: null, boundDevice: TUN }), stuck({ byRoute: undefined, boundDevice: TUN })] });
  assert.deepEqual(groups.map(({ count, down }) => [count, down?.name]),
                   [[1, undefined], [3, "tun3"]]);
  assert.deepEqual(groups.map(stubText), ["no way out: no route", ""]);
  assert.deepEqual(groups[1].edges, [{ ordinal: 3, leaves: false, isBlocked: true,
                                       label: "no way out: tun3 is down" }]);
  assert.ok(interfaces.some(({ name }) => name === "tun3"));
});

test("without the list of interfaces, nothing is said of their addresses", () => {
  const { groups } = model({ interfaces: [], sockets: [socket({ bySource: [], leavesThrough: [],
                                                                byRoute: undefined })],
                             report: { interfacesStatus: "ADAPTER_ENUM_FAILED" } });
  assert.deepEqual(groups.map(stubText), ["the interfaces are not known"]);
});

test("without a host, no list has failed", () => {
  const none = model({ sockets: [], interfaces: [], crossCheck: { status: "UNKNOWN" },
    failures: { adapters: "not taken", routes: "not taken", sockets: "not taken" },
    report: { socketSourcesStatus: "SOCKET_ENUM_FAILED",
              interfacesStatus: "ADAPTER_ENUM_FAILED" } });
  const texts = [...groupBoxes(none), ...interfaceBoxes(none)].map(({ kind, lines }) =>
    [kind, lines[0].text]);
  assert.deepEqual(texts, Array(2).fill(["fold", "unknown: no host"]));
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
