#pragma once

#include "engine/MeterValues.h"

#include <QObject>

#include <cstdint>

// Bits naming the fields of MeterValues, for change notification.
enum class MeterField : std::uint32_t {
    PeakLevelLeft = 1u << 0,
    PeakLevelRight = 1u << 1,
    RmsLevelLeft = 1u << 2,
    RmsLevelRight = 1u << 3,
    MaxPeakLeft = 1u << 4,
    MaxPeakRight = 1u << 5,
    SpectralBands = 1u << 6,
    SpectralSplinePoints = 1u << 7,
    LissajousPoints = 1u << 8,
    MomentaryLUFS = 1u << 9,
    ShortTermLUFS = 1u << 10,
    IntegratedLUFS = 1u << 11,
    LoudnessRange = 1u << 12,
    TruePeakLeft = 1u << 13,
    TruePeakRight = 1u << 14,
};
using MeterFieldMask = std::uint32_t;

inline constexpr MeterFieldMask bit(MeterField field) { return static_cast<MeterFieldMask>(field); }

inline constexpr MeterFieldMask levelFields = bit(MeterField::PeakLevelLeft) | bit(MeterField::PeakLevelRight) |
                                              bit(MeterField::RmsLevelLeft) | bit(MeterField::RmsLevelRight) |
                                              bit(MeterField::MaxPeakLeft) | bit(MeterField::MaxPeakRight);
inline constexpr MeterFieldMask spectrumFields = bit(MeterField::SpectralBands) | bit(MeterField::SpectralSplinePoints);
inline constexpr MeterFieldMask loudnessFields = bit(MeterField::MomentaryLUFS) | bit(MeterField::ShortTermLUFS) |
                                                 bit(MeterField::IntegratedLUFS) | bit(MeterField::LoudnessRange) |
                                                 bit(MeterField::TruePeakLeft) | bit(MeterField::TruePeakRight);

// The one observable object of published meter values; written on the main thread only.
// Each assignment marks its field; flush() then emits one changed() with every field
// assigned since the previous flush, so a view repaints once per tick and only when a
// field it draws was assigned.
class MeterData : public QObject {
    Q_OBJECT

public:
    explicit MeterData(QObject *parent = nullptr) : QObject(parent) {}

    const MeterValues &values() const { return values_; }

    template <typename T> void assign(MeterField field, T MeterValues::*member, T value) {
        values_.*member = std::move(value);
        pending_ |= bit(field);
    }

    MeterFieldMask pendingChanges() const { return pending_; }

    // Emits changed() when anything was assigned since the previous flush.
    void flush() {
        if (pending_ == 0) return;
        const MeterFieldMask fields = pending_;
        pending_ = 0;
        emit changed(fields);
    }

signals:
    void changed(MeterFieldMask fields);

private:
    MeterValues values_;
    MeterFieldMask pending_ = 0;
};
