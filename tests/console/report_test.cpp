// Reports as text, as JSON, and asked for single values.
#include "console/report.h"

#include <gtest/gtest.h>

namespace pcsim::host {
namespace {

Report sample() {
    Report report(
        Fields{"chassis", "Chassis", {{"model", "Model", "VORN-VM"}, {"slot", "Own slot", 1}}});
    return report.add(Table{"ports",
                            "Ports",
                            {{"port", "Port"}, {"packets", "Packets", Align::kRight}, {"up", "Up"}},
                            {{"1:1", 7u, true}, {"1:10", 12345u, false}},
                            "",
                            ""});
}

TEST(Report, TextIsAligned) {
    EXPECT_EQ(sample().text(),
              "Chassis\n"
              "  Model     VORN-VM\n"
              "  Own slot  1\n"
              "\n"
              "Ports\n"
              "  Port  Packets  Up\n"
              "  ----  -------  ---\n"
              "  1:1         7  yes\n"
              "  1:10    12345  no\n");
}

TEST(Report, JsonHasTheSameDataWithTypes) {
    EXPECT_EQ(sample().json(),
              "{\n"
              "  \"chassis\": {\n"
              "    \"model\": \"VORN-VM\",\n"
              "    \"slot\": 1\n"
              "  },\n"
              "  \"ports\": [\n"
              "    {\n"
              "      \"port\": \"1:1\",\n"
              "      \"packets\": 7,\n"
              "      \"up\": true\n"
              "    },\n"
              "    {\n"
              "      \"port\": \"1:10\",\n"
              "      \"packets\": 12345,\n"
              "      \"up\": false\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST(Report, PathsReachFieldsAndCells) {
    const Report report = sample();
    EXPECT_EQ(report.at("model")->plain(), "VORN-VM");
    EXPECT_EQ(report.at("chassis.slot")->plain(), "1");
    EXPECT_EQ(report.at("1:10.packets")->plain(), "12345");
    EXPECT_EQ(report.at("ports.1:1.up")->plain(), "yes");
    EXPECT_EQ(report.at("ports.count")->plain(), "2");
    EXPECT_FALSE(report.at("1:3.up"));
    EXPECT_FALSE(report.at("colour"));
}

TEST(Report, WhatIsForProgramsHasNoText) {
    Table table{"pages", "Pages", {{"table", ""}, {"shown", ""}}, {{"ports", 2u}}, "", ""};
    table.forPrograms = true;
    Report report = sample();
    report.add(table);
    EXPECT_EQ(report.text(), sample().text());
    EXPECT_EQ(report.names(), sample().names());
    EXPECT_EQ(report.paths(100), sample().paths(100));
    EXPECT_EQ(report.at("pages.ports.shown")->plain(), "2");
    EXPECT_TRUE(
        report.json(Report::Json::kCompact).ends_with(R"("pages":[{"table":"ports","shown":2}]})"));
}

TEST(Report, AnEmptyTableSaysSo) {
    EXPECT_EQ(Report(Table{"x", "Things", {{"a", "A"}}, {}, "no things", ""}).text(),
              "Things\n  no things\n");
    EXPECT_EQ(hexCell(15).text(), "0x0000000f");
    EXPECT_EQ(hexCell(15).plain(), "15");
}

}  // namespace
}  // namespace pcsim::host
