#pragma once

#include <QStringView>

// Orders release numbers the way people read them: part by part as numbers, so
// "1.10.0" is newer than "1.9.3" and "1.2" equals "1.2.0". Text after the numbers marks
// a pre-release ("1.2.0-beta2" comes before "1.2.0"); two such suffixes compare with
// their digit runs as numbers ("beta2" before "beta10"). A leading "v" and build
// metadata after "+" are ignored. Returns a negative number when a is older than b,
// zero when they name the same release, a positive number when a is newer.
int compareVersions(QStringView a, QStringView b);
