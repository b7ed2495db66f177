#include "settings/DefaultsStore.h"

#include <QMetaType>
#include <QSettings>
#include <QStringList>

#include <cmath>

// Values come back in two shapes: typed QVariants (memory store, or a QSettings value
// not yet written to disk) and plain strings (anything QSettings re-reads from an INI
// file, including hand-edited ones). Every reader accepts both and turns anything it
// cannot read cleanly into nullopt, so the caller falls back to its default.

namespace {

bool isIntegerType(int typeId)
{
    switch (typeId) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
        return true;
    default:
        return false;
    }
}

bool isFloatType(int typeId)
{
    return typeId == QMetaType::Double || typeId == QMetaType::Float;
}

bool isTextType(int typeId)
{
    return typeId == QMetaType::QString || typeId == QMetaType::QByteArray;
}

// The INI reader splits unquoted text at commas; a hand-edited "a, b" means one string.
QString textOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QStringLiteral(", "));
    return value.toString();
}

std::optional<double> finiteOrNothing(double value)
{
    if (!std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace

std::optional<QString> DefaultsStore::readString(const QString &key) const
{
    const auto value = read(key);
    if (!value)
        return std::nullopt;
    const int typeId = value->typeId();
    if (isTextType(typeId) || typeId == QMetaType::QStringList)
        return textOf(*value);
    return std::nullopt;
}

std::optional<double> DefaultsStore::readDouble(const QString &key) const
{
    const auto value = read(key);
    if (!value)
        return std::nullopt;
    const int typeId = value->typeId();
    if (isFloatType(typeId) || isIntegerType(typeId))
        return finiteOrNothing(value->toDouble());
    if (isTextType(typeId)) {
        bool ok = false;
        const double parsed = value->toString().trimmed().toDouble(&ok);
        if (!ok)
            return std::nullopt;
        return finiteOrNothing(parsed);
    }
    return std::nullopt;
}

std::optional<qint64> DefaultsStore::readInt(const QString &key) const
{
    const auto value = read(key);
    if (!value)
        return std::nullopt;
    const int typeId = value->typeId();
    if (isIntegerType(typeId)) {
        bool ok = false;
        const qint64 parsed = value->toLongLong(&ok);
        return ok ? std::optional<qint64>(parsed) : std::nullopt;
    }
    double number = 0.0;
    if (isFloatType(typeId)) {
        number = value->toDouble();
    } else if (isTextType(typeId)) {
        const QString text = value->toString().trimmed();
        bool ok = false;
        const qint64 parsed = text.toLongLong(&ok);
        if (ok)
            return parsed;
        number = text.toDouble(&ok);
        if (!ok)
            return std::nullopt;
    } else {
        return std::nullopt;
    }
    // A whole number written as "2.0" still reads; a fraction or a value beyond the
    // 64-bit range does not.
    constexpr double limit = 9.2e18;
    if (!std::isfinite(number) || number != std::trunc(number) || std::fabs(number) > limit)
        return std::nullopt;
    return static_cast<qint64>(number);
}

std::optional<bool> DefaultsStore::readBool(const QString &key) const
{
    const auto value = read(key);
    if (!value)
        return std::nullopt;
    const int typeId = value->typeId();
    if (typeId == QMetaType::Bool)
        return value->toBool();
    if (isIntegerType(typeId)) {
        const qint64 number = value->toLongLong();
        if (number == 0 || number == 1)
            return number == 1;
        return std::nullopt;
    }
    if (isTextType(typeId)) {
        const QString text = value->toString().trimmed().toLower();
        if (text == QLatin1String("true") || text == QLatin1String("1"))
            return true;
        if (text == QLatin1String("false") || text == QLatin1String("0"))
            return false;
    }
    return std::nullopt;
}

std::optional<QByteArray> DefaultsStore::readData(const QString &key) const
{
    const auto value = read(key);
    if (!value)
        return std::nullopt;
    const int typeId = value->typeId();
    if (typeId == QMetaType::QByteArray)
        return value->toByteArray();
    // Hand-written JSON in the INI file arrives as text.
    if (typeId == QMetaType::QString || typeId == QMetaType::QStringList)
        return textOf(*value).toUtf8();
    return std::nullopt;
}

bool MemoryDefaultsStore::contains(const QString &key) const
{
    return values_.contains(key);
}

void MemoryDefaultsStore::remove(const QString &key)
{
    values_.erase(key);
}

std::optional<QVariant> MemoryDefaultsStore::read(const QString &key) const
{
    const auto it = values_.find(key);
    if (it == values_.end())
        return std::nullopt;
    return it->second;
}

void MemoryDefaultsStore::write(const QString &key, const QVariant &value)
{
    values_[key] = value;
}

QSettingsDefaultsStore::QSettingsDefaultsStore()
    : settings_(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Kelvra"),
                                            QStringLiteral("KelvraMeters")))
{
}

QSettingsDefaultsStore::QSettingsDefaultsStore(const QString &iniPath)
    : settings_(std::make_unique<QSettings>(iniPath, QSettings::IniFormat))
{
}

// QSettings writes pending changes to disk when it is destroyed.
QSettingsDefaultsStore::~QSettingsDefaultsStore() = default;

bool QSettingsDefaultsStore::contains(const QString &key) const
{
    return settings_->contains(key);
}

void QSettingsDefaultsStore::remove(const QString &key)
{
    settings_->remove(key);
}

void QSettingsDefaultsStore::sync()
{
    settings_->sync();
}

QString QSettingsDefaultsStore::fileName() const
{
    return settings_->fileName();
}

std::optional<QVariant> QSettingsDefaultsStore::read(const QString &key) const
{
    if (!settings_->contains(key))
        return std::nullopt;
    return settings_->value(key);
}

void QSettingsDefaultsStore::write(const QString &key, const QVariant &value)
{
    settings_->setValue(key, value);
}
