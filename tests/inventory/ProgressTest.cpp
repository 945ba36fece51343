// The inventory program: what it shows on a terminal.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/inventory/Support.h"

namespace InventoryTests {

namespace {

TEST_F(InventoryTest, ShowsProgressOnATerminalAlone) {
    for (int i = 0; i < 200; ++i) {
        Write(std::to_string(i), "12345");
    }
    Write("\x01 comes first", "");
    Write("\x7F comes last", "");
    const Strings messages = {"inventory: escaped: %01 comes first",
                              "inventory: escaped: %7F comes last", ""};
    Setting terminal;
    terminal.onTerminal = true;

    Create();
    EXPECT_EQ(messages, Screen(created.err));
    EXPECT_FALSE(Contains(created.err, "\r")) << created.err;
    EXPECT_FALSE(Contains(created.err, "files/s")) << created.err;
    EXPECT_EQ("", Verify().err);

    const auto started = std::chrono::steady_clock::now();
    Create(terminal);
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_TRUE(Contains(created.err, "1 entries  ")) << created.err;
    EXPECT_TRUE(Contains(created.err, " files/s")) << created.err;
    EXPECT_EQ(messages, Screen(created.err));
    // The first entry's, and then one in each tenth of a second.
    long drawn = 0;
    for (std::size_t at = created.err.find("files/s"); at != std::string::npos;
         at = created.err.find("files/s", at + 1)) {
        ++drawn;
    }
    EXPECT_LE(drawn, 1 + elapsed / std::chrono::milliseconds(100));

    const Result verified = Verify(terminal);
    EXPECT_EQ(0, verified.status);
    EXPECT_TRUE(Contains(verified.err, "1 entries  ")) << verified.err;
    EXPECT_EQ((Strings{""}), Screen(verified.err));
    EXPECT_EQ("0 added, 0 removed, 0 changed, 202 the same\n", verified.out);

    const Strings copy = {"copy", out, tree, dir / "copies"};
    const Result copied = RunInventory(copy, terminal);
    EXPECT_EQ(0, copied.status) << copied;
    EXPECT_TRUE(Contains(copied.err, "1 entries  ")) << copied.err;
    EXPECT_EQ((Strings{""}), Screen(copied.err));
    const Result again = RunInventory(copy);
    EXPECT_EQ(1, again.status);
    EXPECT_EQ("", again.err);
}

}  // namespace

}  // namespace InventoryTests
