#include "egress/core/interface_mapping.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kMaxIndex = 4294967295U;

AdapterSnapshot adaptersWith(const std::vector<std::uint32_t>& indexes) {
  AdapterSnapshot adapters;
  for (const std::uint32_t index : indexes) {
    adapters.rows.push_back(makeInterfaceRow(index, 1, 1, {}));
  }
  return adapters;
}

// Formats a mapping as one word: "unmapped", "ambiguous", or the ordinal of its interface.
std::string wordOf(const InterfaceMapping& mapping) {
  switch (mapping.kind) {
    case MappingKind::Unique: return std::to_string(mapping.ordinal);
    case MappingKind::Unmapped: return mapping.ordinal == 0 ? "unmapped" : "unmapped, ordinal set";
    case MappingKind::Ambiguous: break;
  }
  return mapping.ordinal == 0 ? "ambiguous" : "ambiguous, ordinal set";
}

// Calls both overloads, which must agree.
std::string mapped(const AdapterSnapshot& adapters, const OrdinalTable& ordinalTable,
                   std::string_view addressText) {
  const ExactText text(addressText);
  std::string direct = wordOf(mapAddressToInterface(adapters, ordinalTable, text.view()));
  const AddressTable addressTable = makeAddressTable(adapters, ordinalTable);
  EXPECT_EQ(wordOf(mapAddressToInterface(addressTable, text.view())), direct);
  return direct;
}

std::string mapped(const AdapterSnapshot& adapters, std::string_view addressText) {
  return mapped(adapters, makeOrdinalTable(adapters), addressText);
}

// The mapping for every order of the rows, which must be the same.
std::string mappedInEveryOrder(AdapterSnapshot adapters, std::string_view addressText) {
  std::ranges::sort(adapters.rows, {}, &InterfaceRow::interfaceMetric);
  std::string first = mapped(adapters, addressText);
  const auto byMetric = [](const InterfaceRow& a, const InterfaceRow& b) {
    return a.interfaceMetric < b.interfaceMetric;
  };
  while (std::next_permutation(adapters.rows.begin(), adapters.rows.end(), byMetric)) {
    EXPECT_EQ(mapped(adapters, addressText), first);
  }
  return first;
}

TEST(OrdinalTable, ContainsTheDistinctIndexesInUnsignedOrder) {
  struct Row {
    std::string_view name;
    std::vector<std::uint32_t> indexes;
    std::vector<std::uint32_t> table;
  };
  const std::vector<Row> rows = {
      {.name = "none", .indexes = {}, .table = {}},
      {.name = "one", .indexes = {7}, .table = {7}},
      {.name = "sorted", .indexes = {4, 11}, .table = {4, 11}},
      {.name = "unsorted", .indexes = {11, 4}, .table = {4, 11}},
      {.name = "adjacent duplicates", .indexes = {4, 4, 4}, .table = {4}},
      {.name = "scattered duplicates", .indexes = {11, 4, 11, 7, 4}, .table = {4, 7, 11}},
      {.name = "extremes", .indexes = {kMaxIndex, 0}, .table = {0, kMaxIndex}},
      {.name = "around the sign bit",
       .indexes = {0x80000000U, 1, kMaxIndex, 0x7FFFFFFFU, 0},
       .table = {0, 1, 0x7FFFFFFFU, 0x80000000U, kMaxIndex}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(makeOrdinalTable(adaptersWith(row.indexes)).interfaceIndexes, row.table);
  }
}

TEST(OrdinalTable, IsBuiltFromAllRowsEvenIfTheSnapshotFailed) {
  AdapterSnapshot adapters = adaptersWith({11, 4});
  adapters.enumFailed = true;
  EXPECT_THAT(makeOrdinalTable(adapters).interfaceIndexes, ElementsAre(4, 11));
}

TEST(OrdinalTable, OrdinalsCountFromOne) {
  const OrdinalTable table = makeOrdinalTable(adaptersWith({11, 4}));
  EXPECT_EQ(ordinalOf(table, 4), 1);
  EXPECT_EQ(ordinalOf(table, 11), 2);
}

TEST(OrdinalTable, DuplicateIndexesShareAnOrdinalWithoutGaps) {
  const OrdinalTable table = makeOrdinalTable(adaptersWith({5, 3, 5, 9, 3}));
  EXPECT_EQ(ordinalOf(table, 3), 1);
  EXPECT_EQ(ordinalOf(table, 5), 2);
  EXPECT_EQ(ordinalOf(table, 9), 3);
}

TEST(OrdinalTable, ExtremeIndexesHaveOrdinals) {
  const OrdinalTable table = makeOrdinalTable(adaptersWith({kMaxIndex, 0x80000000U, 0}));
  EXPECT_EQ(ordinalOf(table, 0), 1);
  EXPECT_EQ(ordinalOf(table, 0x80000000U), 2);
  EXPECT_EQ(ordinalOf(table, kMaxIndex), 3);
}

TEST(OrdinalTable, UnknownIndexesHaveNoOrdinal) {
  const OrdinalTable table = makeOrdinalTable(adaptersWith({4, 11}));
  for (const std::uint32_t index : {0U, 1U, 3U, 5U, 10U, 12U, 0x80000004U, kMaxIndex}) {
    EXPECT_EQ(ordinalOf(table, index), std::nullopt) << index;
  }
  EXPECT_EQ(ordinalOf(OrdinalTable{}, 0), std::nullopt);
}

TEST(AddressTable, OmitsInvalidAddressesAndAdaptersWithoutAnOrdinal) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(5, 1, 1, {"<missing>", "10.0.0.7", "", "host.example.com"}),
                   makeInterfaceRow(11, 1, 2, {"192.168.1.50"})};
  const AddressTable table = makeAddressTable(adapters, OrdinalTable{.interfaceIndexes = {3, 5}});
  ASSERT_EQ(table.ipv4.size(), 1U);
  EXPECT_EQ(table.ipv4[0].address, 0x0A000007U);
  EXPECT_EQ(table.ipv4[0].ordinal, 2);
  EXPECT_THAT(table.ipv6, IsEmpty());
}

TEST(AddressTable, ContainsAnAddressOncePerInterface) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(5, 1, 1, {"2001:db8::1", "2001:DB8:0::1", "2001:db8::1%eth0"}),
                   makeInterfaceRow(5, 1, 2, {"2001:db8::1"}),
                   makeInterfaceRow(4, 1, 3, {"[2001:db8::1]"})};
  const AddressTable table = makeAddressTable(adapters, makeOrdinalTable(adapters));
  ASSERT_EQ(table.ipv6.size(), 2U);
  EXPECT_THAT(table.ipv6[0].address, ElementsAre(0x20010DB800000000U, 1U));
  EXPECT_EQ(table.ipv6[0].ordinal, 1);
  EXPECT_EQ(table.ipv6[1].ordinal, 2);
  EXPECT_THAT(table.ipv4, IsEmpty());
}

// Every position in tables of every small size, and the positions before, between and after them.
TEST(MapAddressToInterface, FindsExactlyTheAddressesOfATable) {
  for (std::uint32_t size = 0; size <= 20; ++size) {
    AdapterSnapshot adapters;
    for (std::uint32_t i = 0; i < size; ++i) {
      const std::string number = std::to_string(2 * i + 1);
      adapters.rows.push_back(
          makeInterfaceRow(i, 1, 1, {"10.0.0." + number, "2001:db8::" + number + ":0"}));
    }
    for (std::uint32_t i = 0; i <= size; ++i) {
      const std::string between = std::to_string(2 * i);
      EXPECT_EQ(mapped(adapters, "10.0.0." + between), "unmapped") << size;
      EXPECT_EQ(mapped(adapters, "2001:db8::" + between + ":0"), "unmapped") << size;
      if (i == size) break;
      const std::string number = std::to_string(2 * i + 1);
      EXPECT_EQ(mapped(adapters, "10.0.0." + number), std::to_string(i + 1)) << size;
      EXPECT_EQ(mapped(adapters, "2001:db8::" + number + ":0"), std::to_string(i + 1)) << size;
    }
  }
}

TEST(MapAddressToInterface, TheDefaultMappingIsUnmapped) {
  EXPECT_EQ(wordOf(InterfaceMapping{}), "unmapped");
}

TEST(MapAddressToInterface, AnAddressOfOneAdapterMapsToItsOrdinal) {
  const AdapterSnapshot adapters = makeDefaultAdapters();
  EXPECT_EQ(mapped(adapters, "10.0.0.7"), "1");
  EXPECT_EQ(mapped(adapters, "192.168.1.50"), "2");
}

TEST(MapAddressToInterface, AnUnknownAddressIsUnmapped) {
  const AdapterSnapshot adapters = makeDefaultAdapters();
  for (const std::string_view text : {"172.16.9.9", "10.0.0.6", "10.0.0.8", "11.0.0.7",
                                      "192.168.1.51", "0.0.0.0", "255.255.255.255", "::"}) {
    EXPECT_EQ(mapped(adapters, text), "unmapped") << text;
  }
  EXPECT_EQ(mapped(AdapterSnapshot{}, "10.0.0.7"), "unmapped");
}

TEST(MapAddressToInterface, AnInvalidAddressIsUnmappedEvenIfAnAdapterListsTheSameText) {
  const std::vector<std::string> texts = {"",          "<missing>",    "host.example.com",
                                          " 10.0.0.7", "10.0.0.7 ",    "10.0.0",
                                          "10.0.0.7.", "10.0.0.256",   "[10.0.0.7",
                                          "%eth0",     "10.0.0.7:443", std::string("10.0.0.7\0", 9),
                                          ":::"};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    AdapterSnapshot adapters = makeDefaultAdapters();
    EXPECT_EQ(mapped(adapters, text), "unmapped");
    adapters.rows[0].addresses.push_back(text);
    EXPECT_EQ(mapped(adapters, text), "unmapped");
    EXPECT_EQ(mapped(adapters, "10.0.0.7"), "1");
    EXPECT_EQ(mapped(adapters, "0.0.0.0"), "unmapped");
  }
}

TEST(MapAddressToInterface, ATruncatedAddressDoesNotMatch) {
  AdapterSnapshot adapters = makeDefaultAdapters();
  adapters.rows[0].addresses.emplace_back("2001:db8::20");
  for (const std::string_view text : {"10.0.0.7", "192.168.1.50", "2001:db8::20"}) {
    EXPECT_NE(mapped(adapters, text), "unmapped");
    forEveryCut(text, [&adapters](std::string_view cut) {
      EXPECT_EQ(mapped(adapters, cut), "unmapped") << cut;
    });
  }
}

TEST(MapAddressToInterface, ATruncatedZoneIsAlsoIgnored) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(3, 1, 1, {"fe80::1"})};
  const std::string_view address = "fe80::1";
  forEveryCut("fe80::1%eth0", [&](std::string_view cut) {
    EXPECT_EQ(mapped(adapters, cut), cut.size() < address.size() ? "unmapped" : "1") << cut;
  });
}

TEST(MapAddressToInterface, AddressesAreComparedByValueNotByText) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(3, 1, 1, {"010.000.0.07"}),
                   makeInterfaceRow(4, 1, 2, {"2001:DB8:0:0:0:0:0:20%eth0"}),
                   makeInterfaceRow(6, 1, 3, {"::ffff:192.0.2.1"})};
  struct Row {
    std::string_view text;
    std::string_view expected;
  };
  const std::vector<Row> rows = {
      {.text = "10.0.0.7", .expected = "1"},
      {.text = "[10.0.0.7]", .expected = "1"},
      {.text = "10.0.0.7%eth0", .expected = "1"},
      {.text = "2001:db8::20", .expected = "2"},
      {.text = "2001:db8::20%eth1", .expected = "2"},
      {.text = "[2001:0db8:0000::0020]", .expected = "2"},
      {.text = "2001:db8::0.0.0.32", .expected = "2"},
      {.text = "2001:db8::21", .expected = "unmapped"},
      {.text = "2001:db8::120", .expected = "unmapped"},
      {.text = "2001:db8:1::20", .expected = "unmapped"},
      {.text = "::FFFF:c000:201", .expected = "3"},
  };
  for (const Row& row : rows) EXPECT_EQ(mapped(adapters, row.text), row.expected) << row.text;
}

TEST(MapAddressToInterface, AnIpv4AddressNeverEqualsAnIpv6One) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(1, 1, 1, {"10.0.0.7"}), makeInterfaceRow(2, 1, 2, {"a00:7::"}),
                   makeInterfaceRow(3, 1, 3, {"::ffff:10.0.0.7"}),
                   makeInterfaceRow(4, 1, 4, {"::10.0.0.7"})};
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.7"), "1");
  EXPECT_EQ(mappedInEveryOrder(adapters, "a00:7::"), "2");
  EXPECT_EQ(mappedInEveryOrder(adapters, "::ffff:10.0.0.7"), "3");
  EXPECT_EQ(mappedInEveryOrder(adapters, "::10.0.0.7"), "4");
}

// The address with only this bit set, counted from the first; for bit 128 the one without any.
std::string addressWithBit(std::size_t bit) {
  std::string address;
  for (std::size_t group = 0; group < 8; ++group) {
    if (group > 0) address += ':';
    if (bit / 16 == group) {
      address += "8421"[bit % 4];
      address.append(3 - bit % 16 / 4, '0');
    } else {
      address += '0';
    }
  }
  return address;
}

TEST(MapAddressToInterface, EveryBitOfAnIpv6AddressIsComparedInItsPlace) {
  AdapterSnapshot adapters;
  for (std::uint32_t bit = 0; bit <= 128; ++bit) {
    adapters.rows.push_back(makeInterfaceRow(bit, 1, 1, {addressWithBit(bit)}));
  }
  for (std::size_t bit = 0; bit <= 128; ++bit) {
    EXPECT_EQ(mapped(adapters, addressWithBit(bit)), std::to_string(bit + 1));
  }
}

TEST(MapAddressToInterface, EveryAddressOfAnAdapterIsFound) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(9, 1, 1, {"10.0.0.1", "2001:db8::1", "10.0.0.2"}),
                   makeInterfaceRow(2, 1, 2, {"10.0.0.3", "10.0.0.4"})};
  for (const std::string_view text : {"10.0.0.1", "2001:db8::1", "10.0.0.2"}) {
    EXPECT_EQ(mappedInEveryOrder(adapters, text), "2") << text;
  }
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.3"), "1");
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.4"), "1");
}

TEST(MapAddressToInterface, DuplicateAddressesOfOneAdapterAreNotAmbiguous) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(9, 1, 1, {"10.0.0.1", "10.0.0.1", "010.0.0.1"})};
  EXPECT_EQ(mapped(adapters, "10.0.0.1"), "1");
  adapters.rows[0].addresses.assign(1000, "10.0.0.1");
  EXPECT_EQ(mapped(adapters, "10.0.0.1"), "1");
}

TEST(MapAddressToInterface, RowsWithOneIndexAndOneAddressAreOneInterface) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(9, 1, 1, {"10.0.0.1"}), makeInterfaceRow(9, 2, 2, {"10.0.0.1"}),
                   makeInterfaceRow(4, 1, 3, {"10.0.0.2"})};
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.1"), "2");
}

TEST(MapAddressToInterface, RowsWithOneIndexHaveTheAddressesOfAll) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(9, 1, 1, {"10.0.0.1"}),
                   makeInterfaceRow(9, 1, 2, {"10.0.0.2"})};
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.1"), "1");
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.2"), "1");
}

TEST(MapAddressToInterface, AnAddressOfTwoInterfacesIsAmbiguousInEveryOrder) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(5, 1, 1, {"10.0.0.7"}),
                   makeInterfaceRow(11, 1, 2, {"192.168.1.50", "10.0.0.7"}),
                   makeInterfaceRow(5, 1, 3, {"010.0.0.7"})};
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.7"), "ambiguous");
  EXPECT_EQ(mappedInEveryOrder(adapters, "192.168.1.50"), "2");
  adapters.rows[1].addresses.pop_back();
  EXPECT_EQ(mappedInEveryOrder(adapters, "10.0.0.7"), "1");
}

TEST(MapAddressToInterface, AnAddressOfThreeInterfacesIsAmbiguous) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(1, 1, 1, {"fe80::1%a"}),
                   makeInterfaceRow(2, 1, 2, {"fe80::1%b"}),
                   makeInterfaceRow(3, 1, 3, {"fe80::1%c"})};
  EXPECT_EQ(mappedInEveryOrder(adapters, "fe80::1%b"), "ambiguous");
}

TEST(MapAddressToInterface, AnAdapterWithoutAnOrdinalHasNoAddresses) {
  AdapterSnapshot adapters;
  adapters.rows = {makeInterfaceRow(5, 1, 1, {"10.0.0.7", "10.0.0.1"}),
                   makeInterfaceRow(11, 1, 2, {"10.0.0.7", "10.0.0.2"})};
  const OrdinalTable foreign{.interfaceIndexes = {1, 2, 11}};
  EXPECT_EQ(mapped(adapters, foreign, "10.0.0.7"), "3");
  EXPECT_EQ(mapped(adapters, foreign, "10.0.0.1"), "unmapped");
  EXPECT_EQ(mapped(adapters, foreign, "10.0.0.2"), "3");
  EXPECT_EQ(mapped(adapters, OrdinalTable{}, "10.0.0.7"), "unmapped");
}

TEST(MapAddressToInterface, IgnoresWhetherTheSnapshotFailed) {
  AdapterSnapshot adapters = makeDefaultAdapters();
  adapters.enumFailed = true;
  EXPECT_EQ(mapped(adapters, "10.0.0.7"), "1");
}

TEST(MapAddressToInterface, AnAdapterWithoutAddressesMatchesNothing) {
  const AdapterSnapshot adapters = adaptersWith({0, 1, kMaxIndex});
  const AddressTable table = makeAddressTable(adapters, makeOrdinalTable(adapters));
  EXPECT_THAT(table.ipv4, IsEmpty());
  EXPECT_THAT(table.ipv6, IsEmpty());
  EXPECT_EQ(mapped(adapters, "0.0.0.0"), "unmapped");
  EXPECT_EQ(mapped(adapters, "::"), "unmapped");
}

}  // namespace
}  // namespace egress::test
