#pragma once

#include <QString>
#include <QUrl>

// Where the update check looks, and what it compares against.
namespace update_feed {

// Overrides the built-in feed at run time. Set but empty, it turns a built-in feed off.
inline constexpr char environmentVariable[] = "KELVRA_UPDATE_FEED_URL";

// The feed given at build time (CMake cache variable KELVRA_UPDATE_FEED_URL); empty if none.
QString builtInUrl();

// The feed to check: the environment variable when set, else the built-in one. Empty
// when neither names one: then the program never checks and never touches the network.
// A plain path ("/srv/appcast.xml") reads a local file.
QUrl configuredUrl();

// The release number of this build ("0.1.0").
QString runningVersion();

} // namespace update_feed
