#pragma once

#include <ebur128.h>

#include <vector>

// How each channel of a file counts in its loudness: libebur128 channel roles (enum
// channel values, kept as int: the enum has no prefix of its own).
// (front channels 1.0, surround channels +1.5 dB, LFE left out).
namespace channel_weighting {

// Roles from a libsndfile channel map (SF_CHANNEL_MAP_* values, one per channel).
// Positions with no loudness weight of their own (top, wide, ambisonic) count as
// front channels.
std::vector<int> fromChannelMap(const std::vector<int> &channelMap);

// Where each channel sits (SF_CHANNEL_MAP_* values) when a file names no positions: the
// orders waveDefault and vorbisDefault weight. Channels past the known order are front
// centre.
std::vector<int> wavePositions(int channels);
std::vector<int> vorbisPositions(int channels);

// Roles by position when the file names none: the WAVE default order (L R C LFE BL BR
// SL SR; quad is L R BL BR, five channels L R C BL BR, seven L R C LFE BC SL SR). A
// single channel is measured as it is. Channels past the eighth count as front channels.
std::vector<int> waveDefault(int channels);

// The Vorbis order that Ogg Vorbis and Opus files use (L C R BL BR LFE for six channels).
std::vector<int> vorbisDefault(int channels);

} // namespace channel_weighting
