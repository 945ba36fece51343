// CommaLocale: a locale with a decimal comma, compiled for the test.

#ifndef NOVU_BASES_TESTS_SUPPORT_COMMALOCALE_H_
#define NOVU_BASES_TESTS_SUPPORT_COMMALOCALE_H_

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tests/support/TempDir.h"

namespace NovuTest {

/// While it lives, LC_NUMERIC is that of a locale with "," as its point. The
/// systems that tests run on need not have one, so localedef makes it from the
/// files of the package "locales".
class CommaLocale {
public:
    CommaLocale() : earlier(std::setlocale(LC_NUMERIC, nullptr)) {
        const std::string source = temp.Write(
            "source",
            "comment_char %\nescape_char /\nLC_NUMERIC\ndecimal_point \",\"\n"
            "thousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n");
        // Its status speaks of the categories that the source leaves out.
        const std::string command = "localedef --no-archive -c -i '" + source +
                                    "' -f UTF-8 '" + (temp / "comma") +
                                    "' >/dev/null 2>&1";
        // NOLINTNEXTLINE(cert-env33-c): the command holds nothing from outside.
        [[maybe_unused]] const int status = std::system(command.c_str());
        const char* const path = std::getenv("LOCPATH");
        earlierPath = path != nullptr ? path : "";
        ::setenv("LOCPATH", temp.Path().c_str(), 1);
        if (std::setlocale(LC_NUMERIC, "comma") == nullptr) {
            Restore();
            throw std::runtime_error(
                "localedef made no locale; is the package locales installed?");
        }
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() { Restore(); }

private:
    void Restore() {
        if (earlierPath.empty()) {
            ::unsetenv("LOCPATH");
        } else {
            ::setenv("LOCPATH", earlierPath.c_str(), 1);
        }
        std::setlocale(LC_NUMERIC, earlier.c_str());
    }

    TempDir temp;
    std::string earlier;
    std::string earlierPath;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_COMMALOCALE_H_
