#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <map>
#include <memory>
#include <optional>

// The per-user key-value store behind every persisted setting. Reads are typed and
// tell an absent key (nullopt) apart from a present one; a present value that cannot
// be read as the requested type also reads as nullopt, so callers fall back to their
// default instead of failing. Text is parsed where a number or flag is asked for
// ("1.5", "true", "0"), because QSettings hands back everything in an INI file as text;
// NaN and infinity read as nullopt.
class DefaultsStore {
public:
    virtual ~DefaultsStore() = default;

    virtual bool contains(const QString &key) const = 0;
    virtual void remove(const QString &key) = 0;
    // Writes go to the backing store at once; sync() forces them to disk where there is one.
    virtual void sync() {}

    std::optional<QString> readString(const QString &key) const;
    std::optional<double> readDouble(const QString &key) const;
    std::optional<qint64> readInt(const QString &key) const;
    std::optional<bool> readBool(const QString &key) const;
    std::optional<QByteArray> readData(const QString &key) const;

    void writeString(const QString &key, const QString &value) { write(key, value); }
    void writeDouble(const QString &key, double value) { write(key, value); }
    void writeInt(const QString &key, qint64 value) { write(key, value); }
    void writeBool(const QString &key, bool value) { write(key, value); }
    void writeData(const QString &key, const QByteArray &value) { write(key, value); }

protected:
    virtual std::optional<QVariant> read(const QString &key) const = 0;
    virtual void write(const QString &key, const QVariant &value) = 0;
};

// Keeps everything in memory; for tests and for runs that must not touch the user's files.
class MemoryDefaultsStore final : public DefaultsStore {
public:
    bool contains(const QString &key) const override;
    void remove(const QString &key) override;

protected:
    std::optional<QVariant> read(const QString &key) const override;
    void write(const QString &key, const QVariant &value) override;

private:
    std::map<QString, QVariant> values_;
};

class QSettings;

// QSettings in INI format. The default constructor opens the application's own file
// (organisation "Kelvra", application "KelvraMeters", under the XDG config directory);
// the path constructor opens a given file, as tests do.
class QSettingsDefaultsStore final : public DefaultsStore {
public:
    QSettingsDefaultsStore();
    explicit QSettingsDefaultsStore(const QString &iniPath);
    ~QSettingsDefaultsStore() override;

    bool contains(const QString &key) const override;
    void remove(const QString &key) override;
    void sync() override;
    QString fileName() const;

protected:
    std::optional<QVariant> read(const QString &key) const override;
    void write(const QString &key, const QVariant &value) override;

private:
    std::unique_ptr<QSettings> settings_;
};
