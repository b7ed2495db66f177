#!/usr/bin/env python3
"""Writes the meter states the README pictures are rendered from.

Each state is a JSON file for `kelvrameters --render-view`: MeterValues fields at the
top level, AppSettings keys under "settings". Spectra are made the way the analyser
makes them (4096-point periodogram statistics at 48 kHz, calibration offset 21 dB,
peak of the bins in each fractional-octave band); the curve through the bands is
computed by the renderer. Phase-scope trails are pairs of (left, right) samples taken
every 64th sample, as the capture back-ends select them. Seeded, so the files only
change when this script does.

Usage: python3 make_states.py   (writes next to this script)
"""

import json
import math
import os
import random

HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLE_RATE = 48000.0
FFT_SIZE = 4096
BIN_COUNT = FFT_SIZE // 2
MIN_FREQ, MAX_FREQ = 20.0, 24000.0
MIN_AMP, MAX_AMP = -96.0, 0.0


def band_levels(bin_db, band_count):
    """Fractional-octave bands: a few linear one-bin bands, then log spacing; peak of bins."""
    bin_width = SAMPLE_RATE * 0.00024414063
    max_bin = min(MAX_FREQ / bin_width, BIN_COUNT - 1)
    min_bin = max(MIN_FREQ / bin_width, 1.0)
    linear = 20 if band_count > 209 else band_count // 10
    log_count = band_count - linear
    log_start = min_bin + linear
    ratio = max_bin / log_start
    bands = []
    for i in range(band_count):
        if i < linear:
            lo, hi = min_bin + i, min_bin + i + 1
        else:
            lo = log_start * ratio ** ((i - linear) / log_count)
            hi = log_start * ratio ** ((i + 1 - linear) / log_count)
        a, b = int(lo), int(hi)
        start = min(a, BIN_COUNT - 1)
        if start < 1:
            start = 1
            end = min(max(b, 1), BIN_COUNT - 1)
        else:
            end = min(b, BIN_COUNT - 1) if start <= b else start
        value = max([MIN_AMP] + bin_db[start:end + 1])
        bands.append(round(min(max(value, MIN_AMP), MAX_AMP), 2))
    return bands


def pink_noise_bins(rng, level_db):
    """Periodogram of pink noise: -3 dB per octave, exponentially distributed power per bin."""
    bins = [MIN_AMP]
    for k in range(1, BIN_COUNT):
        power = 10 ** ((level_db - 10 * math.log10(k)) / 10) * rng.expovariate(1.0)
        bins.append(10 * math.log10(power + 1e-10))
    return bins


def tone_bins(rng, frequency, peak_dbfs):
    """A Hann-windowed sine: a main lobe three bins wide over a low noise floor."""
    centre = frequency / (SAMPLE_RATE / FFT_SIZE)
    bins = []
    for k in range(BIN_COUNT):
        floor = -92.0 + 3.0 * rng.random()
        distance = abs(k - centre)
        lobe = peak_dbfs - 6.0 - 12.0 * distance * distance if distance < 2.0 else MIN_AMP
        bins.append(max(floor, lobe))
    return bins


def trail(rng, points, signal):
    """Every 64th sample pair of a stereo signal, oldest first."""
    out = []
    for n in range(points):
        t = n * 64 / SAMPLE_RATE
        left, right = signal(t, rng)
        out.append([round(left, 4), round(right, 4)])
    return out


def music_like(gain, width):
    """A few partials, each panned a little differently, with some uncorrelated air."""
    partials = [(110.0, 0.5, 0.2), (220.0, 0.3, -0.4), (331.0, 0.2, 0.9), (587.0, 0.12, -1.3), (1480.0, 0.06, 2.1)]

    def signal(t, rng):
        left = right = 0.0
        for frequency, amplitude, phase in partials:
            left += amplitude * math.sin(2 * math.pi * frequency * t)
            right += amplitude * math.sin(2 * math.pi * frequency * t + phase * width)
        left += 0.05 * rng.gauss(0.0, 1.0)
        right += 0.05 * rng.gauss(0.0, 1.0)
        return gain * left, gain * right

    return signal


def mono_tone(peak_dbfs):
    amplitude = 10 ** (peak_dbfs / 20)
    return lambda t, rng: (amplitude * math.sin(2 * math.pi * 997.0 * t),) * 2


def write(name, state):
    with open(os.path.join(HERE, name + ".json"), "w", encoding="utf-8") as f:
        json.dump(state, f, separators=(",", ":"))
        f.write("\n")


def main():
    rng = random.Random(20240611)

    write("silence", {"settings": {"showLUFSMeter": True}})

    tone = {
        "peakLevelLeft": -18.0, "peakLevelRight": -18.0,
        "rmsLevelLeft": -21.0, "rmsLevelRight": -21.0,
        "maxPeakLeft": -14.2, "maxPeakRight": -14.6,
        "momentaryLUFS": -18.7, "shortTermLUFS": -18.7, "integratedLUFS": -18.8,
        "loudnessRange": 0.4, "truePeakLeft": -18.0, "truePeakRight": -18.0,
        "spectralBands": band_levels(tone_bins(rng, 997.0, -18.0), 240),
        "lissajousPoints": trail(rng, 256, mono_tone(-18.0)),
        "settings": {"showLUFSMeter": True, "lissajousPointMode": False},
    }
    write("tone-18dbfs", tone)

    loud = {
        "peakLevelLeft": 2.4, "peakLevelRight": 1.7,
        "rmsLevelLeft": -3.1, "rmsLevelRight": -4.0,
        "maxPeakLeft": 3.3, "maxPeakRight": 2.6,
        "momentaryLUFS": -4.8, "shortTermLUFS": -6.2, "integratedLUFS": -7.9,
        "loudnessRange": 3.1, "truePeakLeft": 3.6, "truePeakRight": 2.9,
        "spectralBands": band_levels(pink_noise_bins(rng, -2.0), 240),
        "lissajousPoints": trail(rng, 512, music_like(0.95, 1.0)),
        "settings": {"showLUFSMeter": True, "fractionalDigits": 1, "lissajousPointMode": False,
                     "lissajousGlow": True},
    }
    write("loud-over-0db", loud)

    for label, count in (("third", 31), ("48th", 480)):
        write("pink-noise-" + label, {"spectralBands": band_levels(pink_noise_bins(rng, -22.0), count),
                                      "settings": {"spectralGradientId": "Dark Ice"}})

    music = trail(rng, 512, music_like(0.55, 1.0))
    write("phase-lines-glow", {"lissajousPoints": music,
                               "settings": {"lissajousPointMode": False, "lissajousGlow": True,
                                            "lissajousLineWidth": 2.0}})
    write("phase-points", {"lissajousPoints": music, "settings": {"lissajousPointMode": True,
                                                                  "lissajousLineWidth": 1.5}})

    # Netflix: -27 LUFS within 2 LU, true peak at most -2 dBTP.
    write("lufs-on-target", {"momentaryLUFS": -24.9, "shortTermLUFS": -26.1, "integratedLUFS": -26.4,
                             "loudnessRange": 6.8, "truePeakLeft": -3.4, "truePeakRight": -3.1})
    write("lufs-off-target", {"momentaryLUFS": -15.2, "shortTermLUFS": -17.8, "integratedLUFS": -19.5,
                              "loudnessRange": 9.3, "truePeakLeft": -0.6, "truePeakRight": -0.4})

    window = dict(loud)
    window.update({
        "peakLevelLeft": -9.6, "peakLevelRight": -11.2, "rmsLevelLeft": -16.8, "rmsLevelRight": -18.1,
        "maxPeakLeft": -6.3, "maxPeakRight": -7.9,
        "momentaryLUFS": -20.4, "shortTermLUFS": -21.9, "integratedLUFS": -22.6, "loudnessRange": 5.2,
        "truePeakLeft": -5.1, "truePeakRight": -6.0,
        "spectralBands": band_levels(pink_noise_bins(rng, -24.0), 480),
        "lissajousPoints": trail(rng, 512, music_like(0.35, 1.0)),
        "settings": {"showLUFSMeter": True, "lissajousPointMode": False, "lissajousGlow": True,
                     "lissajousLineWidth": 2.0, "spectralOctaveResolution": "1/48 Octave",
                     "selectedBroadcastPresetName": "EBU R128", "spectralGradientId": "Dark Ice",
                     "lissajousGradientId": "Dark Ice"},
    })
    write("window", window)


if __name__ == "__main__":
    main()
