#include "settings/DefaultsStore.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <limits>
#include <memory>

// Reads of the wrong type for every setting are covered through AppSettings; these are the
// store's own conversions.
TEST(MemoryDefaultsStore, NumbersWidenButNonFiniteAndFractionalValuesDoNotRead)
{
    MemoryDefaultsStore store;
    store.writeInt(QStringLiteral("count"), 7);
    store.writeDouble(QStringLiteral("fraction"), 2.5);
    store.writeDouble(QStringLiteral("nan"), std::numeric_limits<double>::quiet_NaN());
    store.writeDouble(QStringLiteral("inf"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(store.readDouble(QStringLiteral("count")), 7.0);
    EXPECT_EQ(store.readInt(QStringLiteral("fraction")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("nan")), std::nullopt);
    EXPECT_EQ(store.readDouble(QStringLiteral("inf")), std::nullopt);
    store.remove(QStringLiteral("count"));
    EXPECT_FALSE(store.contains(QStringLiteral("count")));
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
        store.writeDouble(QStringLiteral("third"), 1.0 / 3.0);
        store.writeDouble(QStringLiteral("tiny"), 1.0e-300);
        store.writeInt(QStringLiteral("large"), -9'000'000'000'000LL);
        store.writeBool(QStringLiteral("off"), false);
        store.writeString(QStringLiteral("text"), awkwardText);
        store.writeString(QStringLiteral("empty"), QString());
        store.writeData(QStringLiteral("blob"), blob);
    }
    QSettingsDefaultsStore reopened(path);
    EXPECT_EQ(reopened.readDouble(QStringLiteral("third")), 1.0 / 3.0);
    EXPECT_EQ(reopened.readDouble(QStringLiteral("tiny")), 1.0e-300);
    EXPECT_EQ(reopened.readInt(QStringLiteral("large")), -9'000'000'000'000LL);
    EXPECT_EQ(reopened.readBool(QStringLiteral("off")), false);
    EXPECT_EQ(reopened.readString(QStringLiteral("text")), awkwardText);
    EXPECT_TRUE(reopened.contains(QStringLiteral("empty")));
    EXPECT_EQ(reopened.readString(QStringLiteral("empty")), QString());
    EXPECT_EQ(reopened.readData(QStringLiteral("blob")), blob);

    reopened.remove(QStringLiteral("off"));
    reopened.sync();
    EXPECT_FALSE(QSettingsDefaultsStore(path).contains(QStringLiteral("off")));
}

TEST(QSettingsDefaultsStore, HandEditedValuesReadWhenCleanAndAsNothingOtherwise)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("hand-edited.ini"));
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[General]\ngoodDouble=  -12.5 \nintAsDouble=3\nbadDouble=abc\nnanDouble=nan\nhugeDouble=1e999\n"
                   "wholeInt=2.0\nfractionInt=2.5\nbadInt=two\ntrueBool=TRUE\noneBool=1\nbadBool=maybe\ntwoBool=2\n"
                   "listText=Apple TV+, Netflix\njsonText=\"[]\"\n");
    }
    QSettingsDefaultsStore store(path);
    EXPECT_EQ(store.readDouble(QStringLiteral("goodDouble")), -12.5);
    EXPECT_EQ(store.readDouble(QStringLiteral("intAsDouble")), 3.0);
    EXPECT_EQ(store.readInt(QStringLiteral("wholeInt")), 2);
    EXPECT_EQ(store.readBool(QStringLiteral("trueBool")), true);
    EXPECT_EQ(store.readBool(QStringLiteral("oneBool")), true);
    EXPECT_EQ(store.readString(QStringLiteral("listText")), QStringLiteral("Apple TV+, Netflix"));
    EXPECT_EQ(store.readData(QStringLiteral("jsonText")), QByteArray("[]"));
    for (const char *key : {"badDouble", "nanDouble", "hugeDouble"})
        EXPECT_EQ(store.readDouble(QString::fromUtf8(key)), std::nullopt) << key;
    for (const char *key : {"fractionInt", "badInt"})
        EXPECT_EQ(store.readInt(QString::fromUtf8(key)), std::nullopt) << key;
    for (const char *key : {"badBool", "twoBool"})
        EXPECT_EQ(store.readBool(QString::fromUtf8(key)), std::nullopt) << key;
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
