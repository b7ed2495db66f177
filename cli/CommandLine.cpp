#include "cli/CommandLine.h"

#include <QTextStream>

#include <cmath>
#include <cstdio>

namespace cli {

namespace {

const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Show this help and exit."));
const QCommandLineOption versionOption({QStringLiteral("v"), QStringLiteral("version")},
                                       QStringLiteral("Show the version and exit."));

const QCommandLineOption helpAllOption(QStringLiteral("help-all"),
                                       QStringLiteral("Show the help of every mode and exit."));

bool isWindowsMode(const Mode &mode) { return *mode.name == '\0'; }

// QCommandLineParser's own text names the executable only when an application object
// exists; the modes parse before they make one, so the first line is ours.
QString optionsPart(const QCommandLineParser &parser)
{
    const QString text = parser.helpText();
    const qsizetype options = text.indexOf(QStringLiteral("Options:"));
    return options < 0 ? QString() : text.mid(options);
}

QString helpText(const Mode &mode, const QCommandLineParser &parser, const QList<const Mode *> &modes)
{
    QString text;
    QTextStream out(&text);
    out << "Usage: " << usageLine(mode) << "\n" << mode.summary << "\n";
    if (*mode.details) out << "\n" << mode.details << "\n";
    if (isWindowsMode(mode) && !modes.isEmpty()) {
        out << "\nModes:\n";
        for (const Mode *other : modes) {
            if (isWindowsMode(*other)) continue;
            const QString synopsis = QStringLiteral("%1 %2").arg(QString::fromUtf8(other->name),
                                                                 QString::fromUtf8(other->arguments));
            out << "  " << synopsis.trimmed() << "\n      " << other->summary << "\n";
        }
        out << "\nRun \"kelvrameters MODE --help\" for the options of a mode. The older spellings\n"
               "(--meter-file FILE, --headless, --render-view NAME, --export-settings FILE,\n"
               "--import-settings FILE, --export-test-tones DIR) still work.\n";
    } else if (mode.legacyOption) {
        out << "\nAlso accepted as: kelvrameters " << mode.legacyOption
            << (*mode.arguments ? QStringLiteral(" ") + QString::fromUtf8(mode.arguments) : QString())
            << " [options]\n";
    }
    out << "\n" << optionsPart(parser);
    return text;
}

} // namespace

QString Invocation::argument() const
{
    const QStringList positional = parser.positionalArguments();
    return positional.isEmpty() ? QString() : positional.first();
}

QStringList Invocation::arguments() const { return parser.positionalArguments(); }

int Invocation::usageError(const QString &message) const
{
    printError(message);
    std::fprintf(stderr, "Usage: %s\nTry \"kelvrameters %s%s--help\" for more.\n", qPrintable(usageLine(mode)),
                 mode.name, isWindowsMode(mode) ? "" : " ");
    return 2;
}

void printError(const QString &message)
{
    std::fprintf(stderr, "kelvrameters: %s\n", message.toLocal8Bit().constData());
}

std::optional<double> positiveSeconds(const QString &text)
{
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0.0) return std::nullopt;
    return seconds;
}

QString usageLine(const Mode &mode)
{
    QString line = QStringLiteral("kelvrameters");
    if (isWindowsMode(mode)) return line + QStringLiteral(" [MODE] [options]");
    line += QLatin1Char(' ') + QString::fromUtf8(mode.name);
    if (*mode.arguments) line += QLatin1Char(' ') + QString::fromUtf8(mode.arguments);
    return line + QStringLiteral(" [options]");
}

int runMode(const Mode &mode, const QStringList &arguments, int &argc, char **argv, const QList<const Mode *> &modes)
{
    QCommandLineParser parser;
    parser.addOption(helpOption);
    parser.addOption(versionOption);
    if (isWindowsMode(mode)) parser.addOption(helpAllOption);
    mode.addOptions(parser);
    const Invocation invocation{mode, parser, argc, argv};

    if (!parser.parse(QStringList{QStringLiteral("kelvrameters")} + arguments))
        return invocation.usageError(parser.errorText());
    if (parser.isSet(helpOption)) {
        std::fputs(helpText(mode, parser, modes).toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (isWindowsMode(mode) && parser.isSet(helpAllOption)) {
        // Every mode's help in one text: the man page is made from it.
        QString text = helpText(mode, parser, modes);
        for (const Mode *other : modes) {
            if (isWindowsMode(*other)) continue;
            QCommandLineParser modeParser;
            modeParser.addOption(helpOption);
            other->addOptions(modeParser);
            // A heading per mode, its text indented under it.
            QString modeText = helpText(*other, modeParser, {});
            modeText.remove(0, modeText.indexOf(QLatin1Char(' ')) + 1); // "Usage: "
            text += QStringLiteral("\nMode %1:\n").arg(QString::fromUtf8(other->name));
            for (const QString &line : modeText.split(QLatin1Char('\n'))) {
                if (line.startsWith(QStringLiteral("Options:"))) continue;
                text += (line.isEmpty() || line.startsWith(QLatin1Char(' ')) ? line : QStringLiteral("  ") + line) +
                        QLatin1Char('\n');
            }
        }
        std::fputs(text.toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (parser.isSet(versionOption)) {
        std::printf("kelvrameters %s\n", KELVRA_VERSION);
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (mode.argumentCount == anyNumber) return mode.run(invocation);
    if (positional.size() > mode.argumentCount)
        return invocation.usageError(QStringLiteral("unexpected argument \"%1\"").arg(positional.at(mode.argumentCount)));
    if (positional.size() < mode.argumentCount || (mode.argumentCount > 0 && positional.first().isEmpty()))
        return invocation.usageError(QStringLiteral("%1 needs %2").arg(
            isWindowsMode(mode) ? QStringLiteral("kelvrameters") : QString::fromUtf8(mode.name),
            QString::fromUtf8(mode.arguments)));
    return mode.run(invocation);
}

} // namespace cli
