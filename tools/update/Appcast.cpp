#include "tools/update/Appcast.h"

#include "tools/update/VersionCompare.h"

#include <QStringView>
#include <QXmlStreamReader>

#include <vector>

namespace {

// The fields of one <item> as the feed writes them, before choosing between them.
struct RawItem {
    QString version;            // sparkle:version element
    QString shortVersion;       // sparkle:shortVersionString element
    QString enclosureVersion;   // sparkle:version attribute of the enclosure
    QString enclosureShort;     // sparkle:shortVersionString attribute of the enclosure
    QString title;
    QString releaseNotesLink;   // sparkle:releaseNotesLink
    QString link;               // <link>
    QString enclosureUrl;
    QString channel;            // sparkle:channel; empty: the default channel
    bool hasEnclosure = false;
};

QUrl webUrl(const QString &text, const QUrl &base)
{
    if (text.isEmpty()) return {};
    const QUrl url = base.resolved(QUrl(text, QUrl::TolerantMode));
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != u"http" && scheme != u"https")) return {};
    return url;
}

QString elementText(QXmlStreamReader &reader)
{
    return reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
}

void readEnclosure(QXmlStreamReader &reader, RawItem &raw)
{
    const QXmlStreamAttributes attributes = reader.attributes();
    const QStringView os = attributes.value(sparkleNamespace, QLatin1String("os"));
    // The first enclosure for this system (or for any) is the download.
    if (!raw.hasEnclosure && (os.isEmpty() || os.compare(u"linux", Qt::CaseInsensitive) == 0)) {
        raw.hasEnclosure = true;
        raw.enclosureUrl = attributes.value(QLatin1String("url")).trimmed().toString();
        raw.enclosureVersion = attributes.value(sparkleNamespace, QLatin1String("version")).trimmed().toString();
        raw.enclosureShort = attributes.value(sparkleNamespace, QLatin1String("shortVersionString")).trimmed().toString();
    }
    reader.skipCurrentElement();
}

// Reads the children of the <item> the reader stands on, up to its end tag.
RawItem readItem(QXmlStreamReader &reader)
{
    RawItem raw;
    while (reader.readNextStartElement()) {
        const QStringView ns = reader.namespaceUri();
        const QStringView name = reader.name();
        if (ns.isEmpty() && name == u"title")
            raw.title = elementText(reader);
        else if (ns.isEmpty() && name == u"link")
            raw.link = elementText(reader);
        else if (ns.isEmpty() && name == u"enclosure")
            readEnclosure(reader, raw);
        else if (ns == sparkleNamespace && name == u"version")
            raw.version = elementText(reader);
        else if (ns == sparkleNamespace && name == u"shortVersionString")
            raw.shortVersion = elementText(reader);
        else if (ns == sparkleNamespace && name == u"releaseNotesLink")
            raw.releaseNotesLink = elementText(reader);
        else if (ns == sparkleNamespace && name == u"channel")
            raw.channel = elementText(reader);
        else
            reader.skipCurrentElement(); // descriptions, dates, deltas, signatures
    }
    return raw;
}

std::optional<AppcastItem> usableItem(const RawItem &raw, const QUrl &feedUrl)
{
    if (!raw.channel.isEmpty()) return std::nullopt;
    const QString shortVersion = !raw.shortVersion.isEmpty() ? raw.shortVersion : raw.enclosureShort;
    const QString version = !raw.version.isEmpty() ? raw.version : raw.enclosureVersion;
    AppcastItem item;
    item.version = !shortVersion.isEmpty() ? shortVersion : version;
    if (item.version.isEmpty()) return std::nullopt;
    item.title = raw.title;
    item.releaseNotesUrl = webUrl(!raw.releaseNotesLink.isEmpty() ? raw.releaseNotesLink : raw.link, feedUrl);
    item.downloadUrl = webUrl(raw.enclosureUrl, feedUrl);
    return item;
}

AppcastReadResult failure(QString error) { return {std::nullopt, std::move(error)}; }

} // namespace

AppcastReadResult readAppcast(const QByteArray &xml, const QUrl &feedUrl)
{
    // An empty answer is common enough (a misconfigured server) to deserve its own words.
    if (xml.trimmed().isEmpty()) return failure(QStringLiteral("Der Update-Feed ist leer."));
    QXmlStreamReader reader(xml);
    std::vector<AppcastItem> items;
    bool rootSeen = false;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) continue;
        if (!rootSeen) {
            rootSeen = true;
            if (reader.name() != u"rss" || !reader.namespaceUri().isEmpty())
                return failure(QStringLiteral("Der Update-Feed ist kein RSS-Feed (Wurzelelement <%1>).")
                                   .arg(reader.qualifiedName()));
            continue;
        }
        if (reader.name() == u"item" && reader.namespaceUri().isEmpty()) {
            const RawItem raw = readItem(reader);
            if (reader.hasError()) break;
            if (std::optional<AppcastItem> item = usableItem(raw, feedUrl)) items.push_back(std::move(*item));
        }
    }
    if (reader.hasError())
        return failure(QStringLiteral("Der Update-Feed ist kein gültiges XML (Zeile %1, Spalte %2: %3).")
                           .arg(reader.lineNumber())
                           .arg(reader.columnNumber())
                           .arg(reader.errorString()));
    if (items.empty()) return failure(QStringLiteral("Der Update-Feed nennt keine Version."));

    // Feeds usually list the newest first, but nothing guarantees it.
    const AppcastItem *newest = &items.front();
    for (const AppcastItem &item : items)
        if (compareVersions(item.version, newest->version) > 0) newest = &item;
    return {*newest, {}};
}
