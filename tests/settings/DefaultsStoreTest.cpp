#include "settings/DefaultsStore.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <limits>
#include <memory>

namespace {

// Writes an INI file by hand, the way a user editing the file would.
QString writeIni(const QTemporaryDir &dir, const QByteArray &content)
{
    const QString path = dir.filePath(QStringLiteral("hand-edited.ini"));
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
    return path;
}

} // namespace

TEST(MemoryDefaultsStore, AbsentKeysReadAsNothingAndWrittenValuesComeBackTyped)
{
    MemoryDefaultsStore store;
    EXPECT_FALSE(store.contains(QStringLiteral("meterSize")));
    EXPECT_EQ(store.readDouble(QStringLiteral("meterSize")), std::nullopt);
    EXPECT_EQ(store.readBool(QStringLiteral("meterSize")), std::nullopt);
    EXPECT_EQ(store.readData(QStringLiteral("meterSize")), std::nullopt);

    store.writeDouble(QStringLiteral("meterSize"), -1.25);
    store.writeInt(QStringLiteral("digits"), -3);
    store.writeBool(QStringLiteral("flag"), true);
    store.writeString(QStringLiteral("name"), QStringLiteral("Netflix"));
    store.writeData(QStringLiteral("blob"), QByteArray("\x00\x01\xff", 3));

    EXPECT_EQ(store.readDouble(QStringLiteral("meterSize")), -1.25);
    EXPECT_EQ(store.readInt(QStringLiteral("digits")), -3);
    EXPECT_EQ(store.readBool(QStringLiteral("flag")), true);
    EXPECT_EQ(store.readString(QStringLiteral("name")), QStringLiteral("Netflix"));
    EXPECT_EQ(store.readData(QStringLiteral("blob")), QByteArray("\x00\x01\xff", 3));

    store.remove(QStringLiteral("flag"));
    EXPECT_FALSE(store.contains(QStringLiteral("flag")));
    EXPECT_EQ(store.readBool(QStringLiteral("flag")), std::nullopt);
}

TEST(MemoryDefaultsStore, ValuesOfAnotherTypeReadAsNothing)
{
    MemoryDefaultsStore store;
    store.writeString(QStringLiteral("text"), QStringLiteral("abc"));
    store.writeDouble(QStringLiteral("fraction"), 2.5);
    store.writeInt(QStringLiteral("count"), 7);
    store.writeBool(QStringLiteral("flag"), true);

    EXPECT_EQ(store.readDouble(QStringLiteral("text")), std::nullopt);
    EXPECT_EQ(store.readInt(QStringLiteral("text")), std::nullopt);
    EXPECT_EQ(store.readBool(QStringLiteral("text")), std::nullopt);
    EXPECT_EQ(store.readInt(QStringLiteral("fraction")), std::nullopt);
    EXPECT_EQ(store.readBool(QStringLiteral("count")), std::nullopt);
    EXPECT_EQ(store.readString(QStringLiteral("fraction")), std::nullopt);
    EXPECT_EQ(store.readData(QStringLiteral("flag")), std::nullopt);
    // Numbers widen where nothing is lost.
    EXPECT_EQ(store.readDouble(QStringLiteral("count")), 7.0);
}

TEST(MemoryDefaultsStore, NonFiniteDoublesReadAsNothing)
{
    MemoryDefaultsStore store;
    store.writeDouble(QStringLiteral("nan"), std::numeric_limits<double>::quiet_NaN());
    store.writeDouble(QStringLiteral("inf"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(store.readDouble(QStringLiteral("nan")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("inf")), std::nullopt);
    EXPECT_EQ(store.readInt(QStringLiteral("nan")), std::nullopt);
}

TEST(QSettingsDefaultsStore, EveryTypeSurvivesClosingAndReopeningTheFile)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("KelvraMeters.ini"));
    QByteArray blob;
    for (int i = 0; i < 256; ++i)
        blob.append(static_cast<char>(i));
    const QString awkwardText = QStringLiteral("@Variant, \"quoted\"; = [x] ünï");

    {
        QSettingsDefaultsStore store(path);
        store.writeDouble(QStringLiteral("meterRangeMin"), -48.125);
        store.writeDouble(QStringLiteral("tiny"), 1.0e-300);
        store.writeDouble(QStringLiteral("third"), 1.0 / 3.0);
        store.writeInt(QStringLiteral("negative"), -42);
        store.writeInt(QStringLiteral("large"), 9'000'000'000'000LL);
        store.writeBool(QStringLiteral("on"), true);
        store.writeBool(QStringLiteral("off"), false);
        store.writeString(QStringLiteral("text"), awkwardText);
        store.writeString(QStringLiteral("empty"), QString());
        store.writeData(QStringLiteral("blob"), blob);
        store.writeData(QStringLiteral("KelvraMeters.windowFrame.levelMeter"), QByteArray("10 20 300 400"));
    }
    QSettingsDefaultsStore reopened(path);
    EXPECT_EQ(reopened.readDouble(QStringLiteral("meterRangeMin")), -48.125);
    EXPECT_EQ(reopened.readDouble(QStringLiteral("tiny")), 1.0e-300);
    EXPECT_EQ(reopened.readDouble(QStringLiteral("third")), 1.0 / 3.0);
    EXPECT_EQ(reopened.readInt(QStringLiteral("negative")), -42);
    EXPECT_EQ(reopened.readInt(QStringLiteral("large")), 9'000'000'000'000LL);
    EXPECT_EQ(reopened.readBool(QStringLiteral("on")), true);
    EXPECT_EQ(reopened.readBool(QStringLiteral("off")), false);
    EXPECT_EQ(reopened.readString(QStringLiteral("text")), awkwardText);
    EXPECT_EQ(reopened.readString(QStringLiteral("empty")), QString());
    EXPECT_TRUE(reopened.contains(QStringLiteral("empty")));
    EXPECT_EQ(reopened.readData(QStringLiteral("blob")), blob);
    EXPECT_EQ(reopened.readData(QStringLiteral("KelvraMeters.windowFrame.levelMeter")), QByteArray("10 20 300 400"));
    EXPECT_FALSE(reopened.contains(QStringLiteral("neverWritten")));

    reopened.remove(QStringLiteral("on"));
    reopened.sync();
    EXPECT_FALSE(QSettingsDefaultsStore(path).contains(QStringLiteral("on")));
}

TEST(QSettingsDefaultsStore, HandEditedValuesReadWhenCleanAndAsNothingOtherwise)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = writeIni(dir, "[General]\n"
                                       "goodDouble=  -12.5 \n"
                                       "intAsDouble=3\n"
                                       "badDouble=abc\n"
                                       "nanDouble=nan\n"
                                       "infDouble=inf\n"
                                       "hugeDouble=1e999\n"
                                       "goodInt=2\n"
                                       "wholeInt=2.0\n"
                                       "fractionInt=2.5\n"
                                       "badInt=two\n"
                                       "trueBool=TRUE\n"
                                       "falseBool=false\n"
                                       "oneBool=1\n"
                                       "badBool=maybe\n"
                                       "twoBool=2\n"
                                       "listText=Apple TV+, Netflix\n"
                                       "jsonText=\"[]\"\n");
    QSettingsDefaultsStore store(path);
    EXPECT_EQ(store.readDouble(QStringLiteral("goodDouble")), -12.5);
    EXPECT_EQ(store.readDouble(QStringLiteral("intAsDouble")), 3.0);
    EXPECT_EQ(store.readDouble(QStringLiteral("badDouble")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("nanDouble")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("infDouble")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("hugeDouble")), std::nullopt);
    EXPECT_EQ(store.readInt(QStringLiteral("goodInt")), 2);
    EXPECT_EQ(store.readInt(QStringLiteral("wholeInt")), 2);
    EXPECT_EQ(store.readInt(QStringLiteral("fractionInt")), std::nullopt);
    EXPECT_EQ(store.readInt(QStringLiteral("badInt")), std::nullopt);
    EXPECT_EQ(store.readBool(QStringLiteral("trueBool")), true);
    EXPECT_EQ(store.readBool(QStringLiteral("falseBool")), false);
    EXPECT_EQ(store.readBool(QStringLiteral("oneBool")), true);
    EXPECT_EQ(store.readBool(QStringLiteral("badBool")), std::nullopt);
    EXPECT_EQ(store.readBool(QStringLiteral("twoBool")), std::nullopt);
    EXPECT_EQ(store.readString(QStringLiteral("listText")), QStringLiteral("Apple TV+, Netflix"));
    EXPECT_EQ(store.readData(QStringLiteral("jsonText")), QByteArray("[]"));
}

TEST(QSettingsDefaultsStore, ApplicationStoreLivesUnderTheXdgConfigDirectory)
{
    // QSettings looks the config directory up once per process; ctest runs every test in
    // its own process, so pointing XDG_CONFIG_HOME elsewhere here keeps the user's file safe.
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    qputenv("XDG_CONFIG_HOME", dir.path().toUtf8());
    QSettingsDefaultsStore store;
    EXPECT_EQ(store.fileName(), dir.filePath(QStringLiteral("Kelvra/KelvraMeters.ini")));
    store.writeBool(QStringLiteral("showScale"), false);
    store.sync();
    EXPECT_TRUE(QFile::exists(store.fileName()));
}
