// Broken and hostile settings files: each must fail with the import prefix, leave every
// setting and the preset library exactly as they were, and not crash.
#include "ExchangeTestSupport.h"

using namespace exchange_test;

namespace {

QByteArray repeated(const QByteArray &piece, int count)
{
    QByteArrayList pieces;
    for (int i = 0; i < count; ++i)
        pieces << piece;
    return pieces.join(',');
}

// A valid export with `key` holding the given raw JSON text.
QByteArray withRawValue(const char *key, const QByteArray &rawValue)
{
    Installation source;
    QJsonObject object = exportedObject(source.settings);
    object.remove(QLatin1StringView(key));
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return json.insert(1, QByteArray("\"") + key + "\":" + rawValue + ",");
}

QByteArray withGradients(const QByteArray &presets) { return withRawValue("gradients", "[" + presets + "]"); }

QByteArray randomId() { return QByteArray::fromStdString(Uuid::createRandom().toString()); }

QByteArray stop(double level)
{
    return "{\"id\":\"" + randomId() + "\",\"levelDb\":" + QByteArray::number(level) +
           ",\"red\":0,\"green\":0,\"blue\":0,\"blend\":true}";
}

QByteArray preset(const QByteArray &name, const QByteArray &stops)
{
    return "{\"id\":\"" + randomId() + "\",\"name\":\"" + name + "\",\"stops\":[" + stops + "],\"isBuiltIn\":false}";
}

QByteArray binaryGarbage()
{
    QByteArray bytes(4096, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>((i * 7919 + 13) >> 3); // arbitrary bytes: NUL, invalid UTF-8
    return bytes;
}

struct HostileFiles : ::testing::Test {
    QTemporaryDir directory;
    QString file = directory.filePath(QStringLiteral("hostile.kmsettings"));
};

} // namespace

TEST_F(HostileFiles, MalformedContentIsRejectedWhole)
{
    const QByteArray valid = withGradients("");
    const std::vector<std::pair<std::string, QByteArray>> cases{
        {"empty file", ""},
        {"only white space", " \n\t\n"},
        {"binary garbage", binaryGarbage()},
        {"NUL inside", QByteArray("{\"version\":2,\0\"meterSize\":1}", 27)},
        {"an array", "[]"},
        {"null", "null"},
        {"an empty object", "{}"},
        {"cut off before the closing brace", valid.chopped(1)},
        {"100000 open brackets", QByteArray(100000, '[')},
        {"deep nesting under an unknown key", withRawValue("futureSetting", QByteArray(5000, '[') + QByteArray(5000, ']'))},
        {"meterSize NaN", withRawValue("meterSize", "NaN")},
        {"meterSize Infinity", withRawValue("meterSize", "-Infinity")},
        {"meterSize 1e400", withRawValue("meterSize", "1e400")},
        {"meterSize 0x10", withRawValue("meterSize", "0x10")},
        {"a level beyond 32-bit float range", withGradients(preset("Big", stop(1e39)))},
        {"10^6 presets", withGradients(repeated("{}", 1000000))},
        {"10^6 stops in one preset", withGradients(preset("Long", repeated("{}", 1000000)))},
        {"20000 stops in all", withGradients(repeated(preset("Many", repeated(stop(-6), 200)), 100))},
        {"a 2000-character name", withGradients(preset(QByteArray(2000, 'n'), stop(0)))},
        {"a valid preset before one without fields", withGradients(preset("Fine", stop(0)) + ",{\"name\":\"x\"}")},
        {"a stop without fields", withGradients(preset("Fine", stop(0) + ",{\"levelDb\":0}"))},
        {"an object instead of an array", withRawValue("gradients", "{\"0\":" + preset("Keyed", stop(0)) + "}")},
        {"a 5000-character text", withRawValue("selectedBroadcastPresetName", "\"" + QByteArray(5000, 'x') + "\"")},
        {"one byte over the size limit", valid + QByteArray(exchange_files::maxFileBytes - valid.size() + 1, ' ')},
    };
    for (const auto &[why, content] : cases) {
        writeBytes(file, content);
        expectImportRejected(file, why);
    }
}

TEST_F(HostileFiles, HugeFilesAndThingsThatAreNotFilesAreRejected)
{
    // Several hundred megabytes without writing them: a sparse file is refused by its size.
    {
        QFile sparse(file);
        ASSERT_TRUE(sparse.open(QIODevice::WriteOnly));
        sparse.write("{");
        ASSERT_TRUE(sparse.resize(400LL * 1024 * 1024));
    }
    expectImportRejected(file, "400 MiB sparse file");
    expectImportRejected(QStringLiteral("/dev/zero"), "an endless device");
    expectImportRejected(directory.path(), "a directory");
    expectImportRejected(directory.filePath(QStringLiteral("absent.kmsettings")), "a missing file");
    expectImportRejected(QString(), "no file name");
}

TEST_F(HostileFiles, FilesRightAtTheLimitsStillImport)
{
    // As many presets and stops as allowed, all sharing one name; then one preset with
    // as many stops as one may have.
    const int presets = static_cast<int>(exchange_files::maxPresets);
    const int stopsEach = static_cast<int>(exchange_files::maxStopsInFile / exchange_files::maxPresets);
    const int longest = static_cast<int>(exchange_files::maxStopsPerPreset);
    Installation target;
    writeBytes(file, withGradients(repeated(preset("Dense", repeated(stop(-12), stopsEach)), presets)));
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.preset("Dense (" + std::to_string(presets) + ")").stops.size(), std::size_t(stopsEach));
    writeBytes(file, withGradients(preset("Long", repeated(stop(-6), longest))));
    ASSERT_TRUE(settings_exchange::importFromFile(target.settings, file, engineNames()).succeeded());
    EXPECT_EQ(target.preset("Long").stops.size(), std::size_t(longest));
}
