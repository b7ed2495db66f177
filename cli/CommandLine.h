#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

namespace cli {

struct Invocation;

// Mode::argumentCount of a mode that takes a list ("FILE..."): any number is parsed,
// the mode itself says how many it needs (an option may make the list optional).
inline constexpr int anyNumber = -1;

// One mode of the program: "kelvrameters NAME ARGUMENTS [options]". The meter windows
// are the mode without a name. Older spellings ("--meter-file FILE") stay accepted.
struct Mode {
    const char *name;            // the subcommand; "" for the meter windows
    const char *legacyOption;    // the older spelling, or nullptr
    const char *arguments;       // the positional part of the synopsis ("FILE"), or ""
    int argumentCount;           // how many positional arguments it takes (0 or 1, or anyNumber)
    const char *summary;         // one line for the list of modes
    const char *details;         // more for the mode's own --help; may be ""
    void (*addOptions)(QCommandLineParser &parser);
    // Runs after the options parsed; validates their values first (usage errors,
    // exit code 2) and only then makes its Qt application object.
    int (*run)(const Invocation &invocation);
};

// A parsed command line, handed to the mode.
struct Invocation {
    const Mode &mode;
    const QCommandLineParser &parser;
    int &argc;    // for the Qt application object
    char **argv;

    // The positional argument (FILE, NAME, DIR), empty when the mode takes none.
    QString argument() const;
    // Every positional argument, in order (the FILE... of a mode taking anyNumber).
    QStringList arguments() const;
    // "kelvrameters: message" and the mode's usage on standard error; returns 2.
    int usageError(const QString &message) const;
};

// "kelvrameters: message" on standard error.
void printError(const QString &message);
// A positive, finite number of seconds, or nothing.
std::optional<double> positiveSeconds(const QString &text);

// Parses `arguments` (without the program name) for `mode` and runs it: --help and
// --version print and return 0, a parse error prints the usage and returns 2.
// `modes` is the list --help shows for the mode without a name.
int runMode(const Mode &mode, const QStringList &arguments, int &argc, char **argv,
            const QList<const Mode *> &modes = {});

// The synopsis line of a mode ("kelvrameters meter-file FILE [options]").
QString usageLine(const Mode &mode);

} // namespace cli
