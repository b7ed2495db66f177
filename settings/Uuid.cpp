#include "settings/Uuid.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QUuid>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

// QUuid also reads a nil UUID from many malformed texts, so the shape is checked
// first: 8-4-4-4-12 hex digits, optionally inside one pair of braces.
bool hasCanonicalShape(std::string_view text)
{
    if (text.size() == 38 && text.front() == '{' && text.back() == '}')
        text = text.substr(1, 36);
    if (text.size() != 36)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dashPosition = i == 8 || i == 13 || i == 18 || i == 23;
        if (dashPosition ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i])))
            return false;
    }
    return true;
}

} // namespace

Uuid Uuid::createRandom()
{
    const QByteArray raw = QUuid::createUuid().toRfc4122();
    Uuid uuid;
    std::memcpy(uuid.bytes_.data(), raw.constData(), uuid.bytes_.size());
    return uuid;
}

std::optional<Uuid> Uuid::fromString(std::string_view text)
{
    if (!hasCanonicalShape(text))
        return std::nullopt;
    const QUuid parsed = QUuid::fromString(QLatin1StringView(text.data(), static_cast<qsizetype>(text.size())));
    const QByteArray raw = parsed.toRfc4122();
    Uuid uuid;
    std::memcpy(uuid.bytes_.data(), raw.constData(), uuid.bytes_.size());
    return uuid;
}

std::string Uuid::toString() const
{
    const QUuid quuid = QUuid::fromRfc4122(
        QByteArrayView(reinterpret_cast<const char *>(bytes_.data()), static_cast<qsizetype>(bytes_.size())));
    return quuid.toString(QUuid::WithoutBraces).toUpper().toStdString();
}

bool Uuid::isNull() const
{
    return std::all_of(bytes_.begin(), bytes_.end(), [](std::uint8_t b) { return b == 0; });
}
