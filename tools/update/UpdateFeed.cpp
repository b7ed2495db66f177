#include "tools/update/UpdateFeed.h"

#include "UpdateFeedConfig.h"

#include <QtGlobal>

namespace update_feed {

QString builtInUrl() { return QStringLiteral(KELVRA_BUILT_IN_UPDATE_FEED_URL).trimmed(); }

QUrl configuredUrl()
{
    const QString text =
        qEnvironmentVariableIsSet(environmentVariable) ? qEnvironmentVariable(environmentVariable).trimmed() : builtInUrl();
    if (text.isEmpty()) return {};
    return QUrl::fromUserInput(text);
}

QString runningVersion() { return QStringLiteral(KELVRA_VERSION); }

} // namespace update_feed
