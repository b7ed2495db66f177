#pragma once

#include "engine/MeterValues.h"

#include <QJsonObject>
#include <QString>

// Reads meter values from a JSON object whose keys are the MeterValues field names:
// numbers for levels and loudness, a number array for "spectralBands", and arrays of
// [x, y] pairs for "spectralSplinePoints" (unit coordinates) and "lissajousPoints"
// ([left, right]). Absent keys keep their value in values. Returns an error text for
// a key of the wrong shape, or an empty string.
QString readMeterValuesJson(const QJsonObject &object, MeterValues &values);
