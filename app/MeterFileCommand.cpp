#include "app/Commands.h"

#include "engine/MeterFileSession.h"

#include <QCoreApplication>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

// kelvrameters --meter-file FILE [--ballistics NAME] [--resolution NAME] [--every SECONDS]
// Prints one JSON object per line to standard output; errors go to standard error
// and exit with 1.

namespace {

int fail(const std::string &message)
{
    std::fprintf(stderr, "kelvrameters: %s\n", message.c_str());
    return 1;
}

template <typename Cases, typename RawValue> std::string listOf(const Cases &cases, RawValue rawValue)
{
    std::string names;
    for (const auto value : cases) {
        if (!names.empty()) names += ", ";
        names += '"';
        names += rawValue(value);
        names += '"';
    }
    return names;
}

} // namespace

int runMeterFileCommand(int argc, char **argv)
{
    MeterFileOptions options;
    bool haveFile = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option != "--meter-file" && option != "--ballistics" && option != "--resolution" && option != "--every") {
            return fail("unknown option " + std::string(option) +
                        "\nusage: kelvrameters --meter-file FILE [--ballistics NAME] [--resolution NAME] "
                        "[--every SECONDS]");
        }
        if (i + 1 >= argc) return fail(std::string(option) + " needs a value");
        const std::string_view value = argv[++i];
        if (option == "--meter-file") {
            options.path = value;
            haveFile = true;
        } else if (option == "--ballistics") {
            const auto mode = meter_ballistics::fromRawValue(value);
            if (!mode) {
                return fail("unknown ballistics \"" + std::string(value) + "\"; choose one of " +
                            listOf(meter_ballistics::allCases, meter_ballistics::rawValue));
            }
            options.ballistics = *mode;
        } else if (option == "--resolution") {
            const auto resolution = octave_resolution::fromRawValue(value);
            if (!resolution) {
                return fail("unknown resolution \"" + std::string(value) + "\"; choose one of " +
                            listOf(octave_resolution::allCases, octave_resolution::rawValue));
            }
            options.resolution = *resolution;
        } else {
            const std::string text(value);
            char *end = nullptr;
            errno = 0;
            const double seconds = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(seconds) || seconds <= 0.0) {
                return fail("--every needs a positive number of seconds, not \"" + text + "\"");
            }
            options.reportInterval = seconds;
        }
    }
    if (!haveFile || options.path.empty()) return fail("--meter-file needs a file name");

    QCoreApplication application(argc, argv);
    std::string error;
    const bool ok = runMeterFile(
        options,
        [](double t, const MeterValues &values) { std::printf("%s\n", meterReportJson(t, values).c_str()); }, error);
    std::fflush(stdout);
    if (!ok) return fail(error);
    return 0;
}
