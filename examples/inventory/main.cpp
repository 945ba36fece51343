// inventory: keeps an inventory of a folder as an XML document.

#include <Bases/Bases.h>
#include <libxml/xmlerror.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Interrupt.h"
#include "Options.h"
#include "Output.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Inventory {

namespace {

// libxml2 would show the line that it cannot read, on standard error: of a
// document that is none, such as a key.
// The type is libxml2's. NOLINTNEXTLINE(cert-dcl50-cpp)
void Ignore(void* /*context*/, const char* /*format*/, ...) {}

ExitStatus Do(const Options& options) {
    switch (options.verb) {
        case Options::Verb::Create:
            return Create(options);
        case Options::Verb::Verify:
            return Verify(options);
        case Options::Verb::Show:
            return Show(options);
        case Options::Verb::Copy:
            return Copy(options);
        case Options::Verb::Help:
            break;
    }
    Print(options.help);
    return kDone;
}

ExitStatus Run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        std::fputs(Usage(), stderr);
        return kError;
    }
    Options options;
    try {
        options = ParseOptions(arguments);
    } catch (const std::exception& failure) {
        Complain(
            failure.what() +
            std::string("; try 'inventory help', or 'inventory help VERB'"));
        return kError;
    }
    ChooseColor(options.color);
    try {
        return Do(options);
    } catch (const std::exception& failure) {
        // Whatever failed, it may have failed by the signal.
        Complain(IsInterrupted() ? "interrupted" : failure.what());
        return kError;
    }
}

}  // namespace

}  // namespace Inventory

int main(int argc, char** argv) {
    // A write to a pipe that nobody reads, or past a limit on file sizes, is
    // to fail and be reported; it does not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);

    try {
        Novu::BasesInit();
    } catch (const std::exception& failure) {
        Inventory::Complain(
            std::string("the locale that the environment names (LC_ALL, "
                        "LC_CTYPE, LANG) is not known here: ") +
            failure.what());
        return Inventory::kError;
    }
    // Tables and charts are to read the same in all locales, which BasesInit
    // takes over with their decimal commas.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is no other thread yet.
    std::setlocale(LC_NUMERIC, "C");
    ::xmlSetGenericErrorFunc(nullptr, Inventory::Ignore);
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0),
                                             argv + argc);
    const int status = Inventory::Run(arguments);
    Novu::BasesRelease();
    if (status == Inventory::kError) {
        Inventory::DieIfInterrupted();
    }
    return status;
}
