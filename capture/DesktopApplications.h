#pragma once

#include "capture/AudioSources.h"

#include <QString>
#include <QStringList>

#include <vector>

// The installed applications a user may choose for application audio before they
// run: the desktop entries (*.desktop) in the applications/ folder of each XDG data
// directory. Display name = Name, identifier = the base name of the Exec program (what
// the running application's streams report as their program). Entries that are
// hidden (NoDisplay, Hidden) or not applications are skipped; an entry in an earlier
// directory shadows one of the same file name in a later one. Sorted by name.
std::vector<CapturedApp> installedApplications(const QStringList &dataDirectories);
// The same over the XDG data directories of this session (XDG_DATA_HOME, XDG_DATA_DIRS).
std::vector<CapturedApp> installedApplications();

// The program of a desktop entry's Exec line: its first word, unquoted, without the
// directory ("env" and its variable assignments skipped). Empty when there is none.
QString execProgram(const QString &exec);
