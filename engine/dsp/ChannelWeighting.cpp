#include "engine/dsp/ChannelWeighting.h"

#include <sndfile.h>

namespace channel_weighting {

namespace {

int roleOf(int position)
{
    switch (position) {
    case SF_CHANNEL_MAP_LFE: return EBUR128_UNUSED;
    case SF_CHANNEL_MAP_LEFT:
    case SF_CHANNEL_MAP_FRONT_LEFT: return EBUR128_LEFT;
    case SF_CHANNEL_MAP_RIGHT:
    case SF_CHANNEL_MAP_FRONT_RIGHT: return EBUR128_RIGHT;
    case SF_CHANNEL_MAP_MONO:
    case SF_CHANNEL_MAP_CENTER:
    case SF_CHANNEL_MAP_FRONT_CENTER: return EBUR128_CENTER;
    case SF_CHANNEL_MAP_REAR_LEFT: return EBUR128_LEFT_SURROUND;
    case SF_CHANNEL_MAP_REAR_RIGHT: return EBUR128_RIGHT_SURROUND;
    case SF_CHANNEL_MAP_SIDE_LEFT: return EBUR128_Mp090;
    case SF_CHANNEL_MAP_SIDE_RIGHT: return EBUR128_Mm090;
    // The rear centre is a surround channel too: the same +1.5 dB as its neighbours.
    case SF_CHANNEL_MAP_REAR_CENTER: return EBUR128_Mp110;
    default: return EBUR128_CENTER;
    }
}

std::vector<int> byPosition(const std::vector<int> &positions, int channels)
{
    std::vector<int> roles;
    roles.reserve(static_cast<std::size_t>(channels));
    for (int c = 0; c < channels; ++c)
        roles.push_back(c < static_cast<int>(positions.size()) ? roleOf(positions[static_cast<std::size_t>(c)])
                                                              : EBUR128_CENTER);
    return roles;
}

} // namespace

std::vector<int> fromChannelMap(const std::vector<int> &channelMap)
{
    return byPosition(channelMap, static_cast<int>(channelMap.size()));
}

std::vector<int> waveDefault(int channels)
{
    constexpr int L = SF_CHANNEL_MAP_FRONT_LEFT, R = SF_CHANNEL_MAP_FRONT_RIGHT, C = SF_CHANNEL_MAP_FRONT_CENTER,
                  LFE = SF_CHANNEL_MAP_LFE, BL = SF_CHANNEL_MAP_REAR_LEFT, BR = SF_CHANNEL_MAP_REAR_RIGHT,
                  BC = SF_CHANNEL_MAP_REAR_CENTER, SL = SF_CHANNEL_MAP_SIDE_LEFT, SR = SF_CHANNEL_MAP_SIDE_RIGHT;
    switch (channels) {
    case 1: return byPosition({C}, 1);
    case 2: return byPosition({L, R}, 2);
    case 3: return byPosition({L, R, C}, 3);
    case 4: return byPosition({L, R, BL, BR}, 4);
    case 5: return byPosition({L, R, C, BL, BR}, 5);
    case 6: return byPosition({L, R, C, LFE, BL, BR}, 6);
    case 7: return byPosition({L, R, C, LFE, BC, SL, SR}, 7);
    default: return byPosition({L, R, C, LFE, BL, BR, SL, SR}, channels);
    }
}

std::vector<int> vorbisDefault(int channels)
{
    constexpr int L = SF_CHANNEL_MAP_FRONT_LEFT, R = SF_CHANNEL_MAP_FRONT_RIGHT, C = SF_CHANNEL_MAP_FRONT_CENTER,
                  LFE = SF_CHANNEL_MAP_LFE, BL = SF_CHANNEL_MAP_REAR_LEFT, BR = SF_CHANNEL_MAP_REAR_RIGHT,
                  BC = SF_CHANNEL_MAP_REAR_CENTER, SL = SF_CHANNEL_MAP_SIDE_LEFT, SR = SF_CHANNEL_MAP_SIDE_RIGHT;
    switch (channels) {
    case 3: return byPosition({L, C, R}, 3);
    case 5: return byPosition({L, C, R, BL, BR}, 5);
    case 6: return byPosition({L, C, R, BL, BR, LFE}, 6);
    case 7: return byPosition({L, C, R, SL, SR, BC, LFE}, 7);
    case 8: return byPosition({L, C, R, SL, SR, BL, BR, LFE}, 8);
    default: return waveDefault(channels);
    }
}

} // namespace channel_weighting
