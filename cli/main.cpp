#include "cli/Modes.h"

#include <QStringList>

#include <cstdio>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

const QList<const cli::Mode *> modes{&cli::windowsMode,        &cli::meterFileMode,      &cli::headlessMode,
                                     &cli::renderViewMode,     &cli::exportSettingsMode, &cli::importSettingsMode,
                                     &cli::exportTestTonesMode, &cli::analyzeMode};

// The older spellings name the mode by an option anywhere on the line, its value (if
// the mode takes an argument) right after it or after "=". Rewritten here into the
// subcommand form, so both spellings parse alike.
const cli::Mode *takeLegacyMode(QStringList &arguments)
{
    for (const cli::Mode *mode : modes) {
        if (!mode->legacyOption) continue;
        const QString option = QString::fromUtf8(mode->legacyOption);
        for (qsizetype i = 0; i < arguments.size(); ++i) {
            const QString word = arguments.at(i); // a copy: the list changes below
            if (word == option) {
                arguments.removeAt(i);
                if (mode->argumentCount > 0 && i < arguments.size() && !arguments.at(i).startsWith(QLatin1Char('-')))
                    arguments.prepend(arguments.takeAt(i));
                return mode;
            }
            if (word.startsWith(option + QLatin1Char('='))) {
                arguments.removeAt(i);
                if (mode->argumentCount > 0) arguments.prepend(word.mid(option.size() + 1));
                return mode;
            }
        }
    }
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
#ifdef __GLIBC__
    // glibc raises its mmap threshold whenever a large mapped block is freed; blocks of that
    // size then come from the heap and stay resident after they are freed. Each reconnection
    // to the audio server frees and makes such blocks again, and left the process 4.5 MB
    // larger after the first restart and 2.6 MB more after the second. A fixed threshold
    // turns the adjustment off, so large blocks go back to the system when freed.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
    QStringList arguments;
    for (int i = 1; i < argc; ++i) arguments << QString::fromLocal8Bit(argv[i]);

    if (!arguments.isEmpty() && !arguments.first().startsWith(QLatin1Char('-'))) {
        const QString name = arguments.takeFirst();
        for (const cli::Mode *mode : modes) {
            if (*mode->name && name == QString::fromUtf8(mode->name)) return cli::runMode(*mode, arguments, argc, argv);
        }
        cli::printError(QStringLiteral("unknown mode \"%1\"").arg(name));
        std::fprintf(stderr, "Usage: %s\nTry \"kelvrameters --help\" for the modes.\n",
                     qPrintable(cli::usageLine(cli::windowsMode)));
        return 2;
    }
    if (const cli::Mode *mode = takeLegacyMode(arguments)) return cli::runMode(*mode, arguments, argc, argv);
    return cli::runMode(cli::windowsMode, arguments, argc, argv, modes);
}
