#include "tools/update/VersionCompare.h"

#include <algorithm>
#include <vector>

namespace {

struct ParsedVersion {
    std::vector<qulonglong> numbers; // the dotted numeric parts, "1.10.2" → 1, 10, 2
    QStringView suffix;              // what follows them, without a leading '-' or '.'
};

bool isDigit(QChar c) { return c >= u'0' && c <= u'9'; }

// Reads a run of digits from `text` at `pos`. Absurdly long runs saturate instead of
// wrapping, so they still sort above every sane number.
qulonglong readNumber(QStringView text, qsizetype &pos)
{
    constexpr qulonglong limit = 1'000'000'000'000'000ULL;
    qulonglong value = 0;
    while (pos < text.size() && isDigit(text[pos])) {
        value = std::min(limit, value * 10 + static_cast<qulonglong>(text[pos].unicode() - u'0'));
        ++pos;
    }
    return value;
}

ParsedVersion parse(QStringView text)
{
    text = text.trimmed();
    if (const qsizetype plus = text.indexOf(u'+'); plus >= 0) text = text.left(plus);
    if (text.size() > 1 && (text[0] == u'v' || text[0] == u'V') && isDigit(text[1])) text = text.mid(1);

    ParsedVersion parsed;
    qsizetype pos = 0;
    while (pos < text.size() && isDigit(text[pos])) {
        parsed.numbers.push_back(readNumber(text, pos));
        // A dot continues the numbers only when another number follows it.
        if (pos + 1 < text.size() && text[pos] == u'.' && isDigit(text[pos + 1]))
            ++pos;
        else
            break;
    }
    QStringView rest = text.mid(pos);
    while (!rest.isEmpty() && (rest[0] == u'-' || rest[0] == u'.' || rest[0] == u'_')) rest = rest.mid(1);
    parsed.suffix = rest;
    return parsed;
}

int sign(qulonglong a, qulonglong b) { return a < b ? -1 : (a > b ? 1 : 0); }

// "beta2" < "beta10" < "rc1": digit runs as numbers, letters without regard to case.
int compareSuffixes(QStringView a, QStringView b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            if (const int c = sign(readNumber(a, i), readNumber(b, j)); c != 0) return c;
            continue;
        }
        const QChar x = a[i].toLower();
        const QChar y = b[j].toLower();
        if (x != y) return x < y ? -1 : 1;
        ++i;
        ++j;
    }
    return sign(static_cast<qulonglong>(a.size() - i), static_cast<qulonglong>(b.size() - j));
}

} // namespace

int compareVersions(QStringView a, QStringView b)
{
    const ParsedVersion x = parse(a);
    const ParsedVersion y = parse(b);
    const std::size_t parts = std::max(x.numbers.size(), y.numbers.size());
    for (std::size_t i = 0; i < parts; ++i) {
        const qulonglong left = i < x.numbers.size() ? x.numbers[i] : 0;
        const qulonglong right = i < y.numbers.size() ? y.numbers[i] : 0;
        if (const int c = sign(left, right); c != 0) return c;
    }
    // Same numbers: the release itself is newer than any of its pre-releases.
    if (x.suffix.isEmpty() || y.suffix.isEmpty())
        return x.suffix.isEmpty() == y.suffix.isEmpty() ? 0 : (x.suffix.isEmpty() ? 1 : -1);
    return compareSuffixes(x.suffix, y.suffix);
}
