#include "capture/AppSelection.h"

#include "settings/DefaultsStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

AppSelectionData AppSelectionData::load(const DefaultsStore &store)
{
    AppSelectionData selection;
    const std::optional<QString> text = store.readString(QString::fromLatin1(key));
    if (!text) return selection;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text->toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return selection;
    const QJsonObject object = document.object();
    const QJsonValue ids = object.value(QStringLiteral("selectedBundleIDs"));
    const QJsonValue enabled = object.value(QStringLiteral("isSCKModeEnabled"));
    if (!ids.isArray() || !enabled.isBool()) return selection;
    QStringList decoded;
    for (const QJsonValue &id : ids.toArray()) {
        if (!id.isString()) return selection;
        decoded << id.toString();
    }
    selection.selectedBundleIDs = decoded;
    selection.isSCKModeEnabled = enabled.toBool();
    return selection;
}

void AppSelectionData::save(DefaultsStore &store) const
{
    QJsonObject object;
    object.insert(QStringLiteral("selectedBundleIDs"), QJsonArray::fromStringList(selectedBundleIDs));
    object.insert(QStringLiteral("isSCKModeEnabled"), isSCKModeEnabled);
    store.writeString(QString::fromLatin1(key),
                      QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}
