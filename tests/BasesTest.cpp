// The contract of Bases/Bases.h. Stand-ins note what the library asks of the
// runtime and of libxml2, in order, and pass it on.

#include "Bases/Bases.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <time.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/NextSymbol.h"

namespace {

struct Event {
    std::string call;
    std::string globalLocale;  // When the call was made.

    bool operator==(const Event&) const = default;
};

// Null while nobody looks.
std::vector<Event>* events = nullptr;
time_t lastTime = 0;
bool conversionFails = false;  // gmtime_r answers null.

void Note(const char* call) {
    if (events != nullptr) {
        events->push_back({call, std::locale().name()});
    }
}

}  // namespace

extern "C" {

tm* gmtime_r(const time_t* time, tm* out) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<tm*(const time_t*, tm*)>("gmtime_r");
    Note("gmtime_r");
    lastTime = *time;
    return conversionFails ? nullptr : next(time, out);
}

void xmlInitParser() {
    static auto* const next = NovuTest::NextSymbol<void()>("xmlInitParser");
    Note("xmlInitParser");
    next();
}

void xmlCleanupParser() {
    static auto* const next = NovuTest::NextSymbol<void()>("xmlCleanupParser");
    Note("xmlCleanupParser");
    next();
}

}  // extern "C"

namespace {

// Gives every test the locale "C", an environment of its own and the events of
// its calls, and puts everything back.
class BasesTest : public testing::Test {
protected:
    BasesTest() : earlier(std::locale::global(std::locale::classic())) {
        for (const char* const name : kNames) {
            const char* const value = std::getenv(name);
            values.emplace_back(value != nullptr ? value : "");
            ::unsetenv(name);
        }
        events = &seen;
    }

    ~BasesTest() override {
        events = nullptr;
        for (std::size_t index = 0; index < values.size(); ++index) {
            if (values[index].empty()) {
                ::unsetenv(kNames[index]);
            } else {
                ::setenv(kNames[index], values[index].c_str(), 1);
            }
        }
        std::locale::global(earlier);
    }

    std::vector<Event> seen;

private:
    static constexpr const char* kNames[] = {
        "LC_ALL",         "LC_CTYPE",         "LC_COLLATE",   "LC_NUMERIC",
        "LC_TIME",        "LC_MONETARY",      "LC_MESSAGES",  "LC_PAPER",
        "LC_NAME",        "LC_ADDRESS",       "LC_TELEPHONE", "LANG",
        "LC_MEASUREMENT", "LC_IDENTIFICATION"};

    std::locale earlier;
    std::vector<std::string> values;
};

TEST_F(BasesTest, InitPreparesTimeThenLocaleThenXml) {
    ::setenv("LC_ALL", "C.utf8", 1);
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ(
        (std::vector<Event>{{"gmtime_r", "C"}, {"xmlInitParser", "C.utf8"}}),
        seen);
    EXPECT_EQ(1234567890123, lastTime);
}

TEST_F(BasesTest, WhatTheTimeConversionAnswersIsIgnored) {
    conversionFails = true;
    EXPECT_EQ(1, Novu::BasesInit());
    conversionFails = false;
    EXPECT_EQ((std::vector<Event>{{"gmtime_r", "C"}, {"xmlInitParser", "C"}}),
              seen);
}

// [bases-1]
TEST_F(BasesTest, InitInstallsTheEnvironmentsLocaleForCAndCpp) {
    ::setenv("LC_ALL", "C.utf8", 1);
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ("C.utf8", std::locale().name());
    EXPECT_STREQ("C.utf8", std::setlocale(LC_ALL, nullptr));

    ::setenv("LC_ALL", "C", 1);
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ("C", std::locale().name());
    EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr));
}

TEST_F(BasesTest, EveryKindOfVariableNamesALocale) {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        ::setenv(name, "C.utf8", 1);
        EXPECT_EQ(1, Novu::BasesInit()) << name;
        EXPECT_EQ(std::locale("").name(), std::locale().name()) << name;
        EXPECT_NE("C", std::locale().name()) << name;
        ::unsetenv(name);
    }
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ("C", std::locale().name());
}

TEST_F(BasesTest, AnUnknownLocalePassesAndTouchesNothing) {
    ::setenv("LC_ALL", "xx_XX.none", 1);
    EXPECT_THROW(Novu::BasesInit(), std::runtime_error);
    EXPECT_EQ((std::vector<Event>{{"gmtime_r", "C"}}), seen);
    EXPECT_EQ("C", std::locale().name());
    EXPECT_STREQ("C", std::setlocale(LC_ALL, nullptr));
}

TEST_F(BasesTest, OneUnknownCategoryIsEnough) {
    ::setenv("LC_TIME", "xx_XX.none", 1);
    EXPECT_THROW(Novu::BasesInit(), std::runtime_error);
    EXPECT_EQ("C", std::locale().name());
}

// [bases-2]
TEST_F(BasesTest, ASecondInitRepeatsTheSteps) {
    ::setenv("LC_ALL", "C.utf8", 1);
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ((std::vector<Event>{{"gmtime_r", "C"},
                                  {"xmlInitParser", "C.utf8"},
                                  {"gmtime_r", "C.utf8"},
                                  {"xmlInitParser", "C.utf8"}}),
              seen);
}

// [bases-1] [bases-2]
TEST_F(BasesTest, ReleaseOnlyClearsLibxml2) {
    ::setenv("LC_ALL", "C.utf8", 1);
    EXPECT_EQ(1, Novu::BasesInit());
    EXPECT_EQ(1, Novu::BasesInit());
    seen.clear();
    Novu::BasesRelease();
    EXPECT_EQ((std::vector<Event>{{"xmlCleanupParser", "C.utf8"}}), seen);
    EXPECT_EQ("C.utf8", std::locale().name());
}

TEST_F(BasesTest, ReleaseNeedsNoInit) {
    Novu::BasesRelease();
    Novu::BasesRelease();
    EXPECT_EQ((std::vector<Event>{{"xmlCleanupParser", "C"},
                                  {"xmlCleanupParser", "C"}}),
              seen);
    EXPECT_EQ(1, Novu::BasesInit());
    xmlDoc* const document = ::xmlReadMemory("<a/>", 4, "a.xml", nullptr, 0);
    EXPECT_NE(nullptr, document);
    ::xmlFreeDoc(document);
    Novu::BasesRelease();
}

}  // namespace
