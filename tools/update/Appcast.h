#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>
#include <QUrl>

#include <optional>

// One release announced by an appcast item.
struct AppcastItem {
    QString version;      // shown and compared: sparkle:shortVersionString, else sparkle:version
    QString title;        // the item's <title>; may be empty
    QUrl releaseNotesUrl; // sparkle:releaseNotesLink, else the item's <link>; may be empty
    QUrl downloadUrl;     // the enclosure's url; may be empty
};

// What an appcast offers: its newest release, or a readable reason why there is none.
struct AppcastReadResult {
    std::optional<AppcastItem> newest;
    QString error; // empty when newest holds a release
};

// The namespace of the sparkle: elements and attributes.
inline constexpr QLatin1String sparkleNamespace("http://www.andymatuschak.org/xml-namespaces/sparkle");

// Reads a Sparkle appcast: an RSS 2.0 channel whose items carry sparkle:version and
// sparkle:shortVersionString, either as attributes of <enclosure> or as elements of the
// item. Picks the newest release by compareVersions. Items on a named sparkle:channel
// (betas) and enclosures for another sparkle:os are left out, as Sparkle does for
// users on the default channel. Relative links are resolved against `feedUrl`; links
// that are not http or https are dropped, so a feed can only point the browser at the
// web. Malformed XML, a document that is not RSS, or no item with a version is an
// error whose text (German, for the update dialog) names the line and column.
AppcastReadResult readAppcast(const QByteArray &xml, const QUrl &feedUrl = {});
