// The kinds of fault, as docs/reliability.md lists them.
#include "../TemporaryDirectory.hpp"
#include "Table.hpp"

#include <gtest/gtest.h>
#include <set>

namespace Velmor::Faults {
namespace {

constexpr std::size_t kWidth = 118;

/// "- **storage**, 36: `file-fault/no-space`, ...", wrapped.
std::string listed(const char* table, const Names& names) {
    std::string text = "- **" + std::string(table) + "**, " + std::to_string(names.size()) + ":";
    std::size_t column = text.size();
    for (const auto& name : names) {
        const auto word = "`" + name + (&name == &names.back() ? "`" : "`,");
        const bool fits = column + 1 + word.size() <= kWidth;
        text += (fits ? " " : "\n  ") + word;
        column = word.size() + (fits ? column + 1 : 2);
    }
    return text + "\n";
}

TEST(FaultList, IsTheDocumentedOne) {
    const std::vector<std::pair<const char*, Names>> tables{{"network", networkNames()},
                                                            {"tls", tlsNames()},
                                                            {"storage", storageNames()},
                                                            {"nights", nightNames()}};
    std::string list;
    std::size_t rows = 0;
    for (const auto& [table, names] : tables) {
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size()) << table;
        list += listed(table, names);
        rows += names.size();
    }
    const auto page = VelmorTests::contentOf(VELMOR_SOURCE_DIR "/docs/reliability.md");
    list += "\n" + std::to_string(rows) + " rows in all.\n";
    EXPECT_TRUE(page.find(list) != std::string::npos) << "the page is to say:\n" << list;
}

}  // namespace
}  // namespace Velmor::Faults
