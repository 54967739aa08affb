// kelvane-genlog: writes a large synthetic Sysmon log for import benchmarks.
//   kelvane-genlog [--seed S] [--noroot] [--utf16] [--computers K] [--process-tree] [--modern] N OUT.xml

#include "SysmonLogGenerator.h"
#include "settings/CommandLine.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

namespace {

int usage() {
    std::fprintf(stderr, "usage: kelvane-genlog [--seed S] [--noroot] [--utf16] [--computers K] "
                         "[--process-tree] [--modern] N OUT.xml\n");
    return 2;
}

bool parseNumber(const char* text, std::uint64_t& value) {
    char* end = nullptr;
    value = std::strtoull(text, &end, 10);
    return end != text && *end == '\0';
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    kelvane::CommandLine commandLine("Writes a realistic Sysmon log of N events.",
                                     {{0, "the log is written"}, {1, "the log could not be written"}});
    QCommandLineParser& parser = commandLine.parser();
    parser.addOptions({{"seed", "Seed of the generator.", "S"},
                       {"noroot", "No <Events> root element."},
                       {"utf16", "Write UTF-16 with a byte order mark."},
                       {"computers", "Computers the events come from (1 to 10000).", "K"},
                       {"process-tree", "A busy machine where processes start processes."},
                       {"modern", "Sysmon 15 on every machine, with its later event types."}});
    commandLine.addPositional("N", "Events to write.");
    commandLine.addPositional("OUT", "The log file to write.");
    commandLine.process(app, 2, 2);
    kelvane::SysmonLogOptions options;
    std::string out;
    bool haveCount = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        std::uint64_t number = 0;
        if (arg == "--noroot") {
            options.withRoot = false;
        } else if (arg == "--process-tree") {
            options.processTree = true;
        } else if (arg == "--modern") {
            options.modern = true;
        } else if (arg == "--utf16") {
            options.utf16 = true;
        } else if (arg == "--seed" || arg == "--computers") {
            if (++i == argc || !parseNumber(argv[i], number))
                return usage();
            if (arg == "--seed")
                options.seed = number;
            else if (number < 1 || number > 10000)
                return usage();
            else
                options.computers = static_cast<int>(number);
        } else if (!haveCount && parseNumber(argv[i], number)) {
            options.events = number;
            haveCount = true;
        } else if (haveCount && out.empty() && !arg.starts_with("--")) {
            out = argv[i];
        } else {
            return usage();
        }
    }
    if (!haveCount || out.empty())
        return usage();

    try {
        const auto start = std::chrono::steady_clock::now();
        const std::uint64_t bytes = kelvane::SysmonLogGenerator(options).writeFile(out);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::printf("%llu bytes, %llu events, %.2f s\n", static_cast<unsigned long long>(bytes),
                    static_cast<unsigned long long>(options.events), took.count());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kelvane-genlog: %s\n", e.what());
        return 1;
    }
    return 0;
}
