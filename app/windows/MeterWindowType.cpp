#include "app/windows/MeterWindowType.h"

namespace meter_window_type {

QString rawValue(MeterWindowType type)
{
    return type == MeterWindowType::levelMeter ? QStringLiteral("levelMeter") : QStringLiteral("numericalMeter");
}

QString identifier(MeterWindowType type)
{
    return type == MeterWindowType::levelMeter ? QStringLiteral("level-meter") : QStringLiteral("numerical-meter");
}

QString title(MeterWindowType type)
{
    return type == MeterWindowType::levelMeter ? QStringLiteral("Kelvra Level Meter")
                                               : QStringLiteral("Kelvra Numerical Meter");
}

QSize defaultSize(MeterWindowType type)
{
    return type == MeterWindowType::levelMeter ? QSize(50, 300) : QSize(220, 120);
}

QSize sanityLimit(MeterWindowType type)
{
    return type == MeterWindowType::levelMeter ? QSize(400, 1400) : QSize(900, 500);
}

} // namespace meter_window_type
