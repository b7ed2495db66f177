// Broken and hostile settings files: each must fail with the import prefix, leave every
// setting and the preset library exactly as they were, and not crash.
#include "ExchangeTestSupport.h"

#include <QJsonArray>

#include <random>

using namespace exchange_test;

namespace {

QByteArray repeated(const QByteArray &piece, int count, const QByteArray &separator = ",")
{
    QByteArray out;
    out.reserve((piece.size() + separator.size()) * count);
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            out += separator;
        out += piece;
    }
    return out;
}

// A valid export with `gradients` replaced by the given JSON text.
QByteArray withGradients(const QByteArray &gradientsJson)
{
    Installation source;
    QJsonObject object = exportedObject(source.settings);
    object.remove(QStringLiteral("gradients"));
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    json.insert(1, "\"gradients\":" + gradientsJson + ",");
    return json;
}

// A valid export with one value replaced by raw JSON text.
QByteArray withRawValue(const char *key, const QByteArray &rawValue)
{
    Installation source;
    QJsonObject object = exportedObject(source.settings);
    object.remove(QLatin1StringView(key));
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    json.insert(1, QByteArray("\"") + key + "\":" + rawValue + ",");
    return json;
}

QByteArray stop(double level)
{
    return "{\"id\":\"" + QByteArray::fromStdString(Uuid::createRandom().toString()) +
           "\",\"levelDb\":" + QByteArray::number(level) + ",\"red\":0,\"green\":0,\"blue\":0,\"blend\":true}";
}

QByteArray preset(const QByteArray &name, const QByteArray &stops)
{
    return "{\"id\":\"" + QByteArray::fromStdString(Uuid::createRandom().toString()) + "\",\"name\":\"" + name +
           "\",\"stops\":[" + stops + "],\"isBuiltIn\":false}";
}

QByteArray binaryGarbage()
{
    std::mt19937 random(7);
    QByteArray bytes(4096, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random() & 0xFF);
    return bytes;
}

struct HostileFiles : ::testing::Test {
    QTemporaryDir directory;
    Installation target;
    Snapshot before = snapshot(target.settings);

    void expectRejectedFile(const QString &file, const std::string &why)
    {
        const ExchangeResult result = settings_exchange::importFromFile(target.settings, file, engineNames());
        EXPECT_TRUE(result.failure.startsWith(QStringLiteral("Failed to import settings: "))) << why;
        EXPECT_EQ(target.changes, 0) << why;
        EXPECT_TRUE(snapshot(target.settings) == before) << why;
    }

    void expectRejected(const QByteArray &content, const std::string &why)
    {
        const QString file = directory.filePath(QStringLiteral("hostile.kmsettings"));
        writeBytes(file, content);
        expectRejectedFile(file, why);
    }
};

} // namespace

TEST_F(HostileFiles, ContentThatIsNoSettingsObject)
{
    expectRejected("", "empty file");
    expectRejected(" \n\t\n", "only white space");
    expectRejected(binaryGarbage(), "binary garbage");
    expectRejected(QByteArray("{\"version\":2,\0\"meterSize\":1}", 27), "NUL inside");
    expectRejected("[]", "an array");
    expectRejected("\"settings\"", "a string");
    expectRejected("null", "null");
    expectRejected("{}", "an empty object");
    expectRejected(withGradients("[]").chopped(1), "cut off before the closing brace");
    expectRejected(QByteArray(100000, '['), "100000 open brackets");
    // Nesting beyond the parser's depth limit under a key nobody reads.
    expectRejected(withRawValue("futureSetting", QByteArray(5000, '[') + QByteArray(5000, ']')),
                   "deep nesting under an unknown key");
}

TEST_F(HostileFiles, NumbersJsonCannotHold)
{
    for (const char *number : {"NaN", "nan", "Infinity", "-Infinity", "1e400", "-1e400", "0x10", "+1", "1e"})
        expectRejected(withRawValue("meterSize", number), std::string("meterSize = ") + number);
    expectRejected(withRawValue("fractionalDigits", "1e300"), "fractionalDigits far beyond any integer");
    expectRejected(withGradients("[" + preset("Big", stop(1e39)) + "]"), "a level beyond 32-bit float range");
}

TEST_F(HostileFiles, HugeOrMalformedGradientArrays)
{
    expectRejected(withGradients("[" + repeated("{}", 1000000) + "]"), "10^6 presets");
    expectRejected(withGradients("[" + preset("Long", repeated("{}", 1000000)) + "]"), "10^6 stops in one preset");
    expectRejected(withGradients("[" + repeated(preset("Many", repeated(stop(-6), 200)), 100) + "]"),
                   "20000 stops in all");
    expectRejected(withGradients("[" + preset(QByteArray(2000, 'n'), stop(0)) + "]"), "a 2000-character name");
    expectRejected(withGradients("[" + preset("Fine", stop(0)) + ",{\"name\":\"No stops\"}]"),
                   "a valid preset before one without fields");
    expectRejected(withGradients("[" + preset("Fine", stop(0) + ",{\"levelDb\":0}") + "]"), "a stop without fields");
    expectRejected(withGradients("{\"0\":" + preset("Keyed", stop(0)) + "}"), "an object instead of an array");
    expectRejected(withRawValue("selectedBroadcastPresetName", "\"" + QByteArray(5000, 'x') + "\""),
                   "a 5000-character text value");
}

TEST_F(HostileFiles, FilesThatAreTooLargeOrNotFilesAtAll)
{
    // Several hundred megabytes without writing them: a sparse file is refused by its size.
    const QString huge = directory.filePath(QStringLiteral("huge.kmsettings"));
    {
        QFile file(huge);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("{");
        ASSERT_TRUE(file.resize(400LL * 1024 * 1024));
    }
    expectRejectedFile(huge, "400 MiB sparse file");

    // Just over the limit, made of white space around a valid object.
    const QByteArray valid = withGradients("[]");
    expectRejected(valid + QByteArray(exchange_files::maxFileBytes - valid.size() + 1, ' '), "one byte too many");

    expectRejectedFile(QStringLiteral("/dev/zero"), "an endless device");
    expectRejectedFile(directory.path(), "a directory");
    expectRejectedFile(directory.filePath(QStringLiteral("absent.kmsettings")), "a missing file");
    expectRejectedFile(QString(), "no file name");
}

TEST_F(HostileFiles, FilesRightAtTheLimitsStillImport)
{
    // As many presets and stops as allowed, all sharing one name; then one preset with
    // as many stops as one may have.
    const int presets = static_cast<int>(exchange_files::maxPresets);
    const int stopsEach = static_cast<int>(exchange_files::maxStopsInFile / exchange_files::maxPresets);
    const QString file = directory.filePath(QStringLiteral("dense.kmsettings"));
    writeBytes(file, withGradients("[" + repeated(preset("Dense", repeated(stop(-12), stopsEach)), presets) + "]"));
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.preset("Dense (" + std::to_string(presets) + ")").stops.size(),
              static_cast<std::size_t>(stopsEach));

    const int longest = static_cast<int>(exchange_files::maxStopsPerPreset);
    writeBytes(file, withGradients("[" + preset("Long", repeated(stop(-6), longest)) + "]"));
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.preset("Long").stops.size(), static_cast<std::size_t>(longest));
}
