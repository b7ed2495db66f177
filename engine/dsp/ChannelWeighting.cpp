#include "engine/dsp/ChannelWeighting.h"

#include <sndfile.h>

#include <algorithm>

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

} // namespace

std::vector<int> fromChannelMap(const std::vector<int> &channelMap)
{
    std::vector<int> roles;
    roles.reserve(channelMap.size());
    for (const int position : channelMap) roles.push_back(roleOf(position));
    return roles;
}

std::vector<int> wavePositions(int channels)
{
    constexpr int L = SF_CHANNEL_MAP_FRONT_LEFT, R = SF_CHANNEL_MAP_FRONT_RIGHT, C = SF_CHANNEL_MAP_FRONT_CENTER,
                  LFE = SF_CHANNEL_MAP_LFE, BL = SF_CHANNEL_MAP_REAR_LEFT, BR = SF_CHANNEL_MAP_REAR_RIGHT,
                  BC = SF_CHANNEL_MAP_REAR_CENTER, SL = SF_CHANNEL_MAP_SIDE_LEFT, SR = SF_CHANNEL_MAP_SIDE_RIGHT;
    std::vector<int> order;
    switch (channels) {
    case 1: order = {C}; break;
    case 2: order = {L, R}; break;
    case 3: order = {L, R, C}; break;
    case 4: order = {L, R, BL, BR}; break;
    case 5: order = {L, R, C, BL, BR}; break;
    case 6: order = {L, R, C, LFE, BL, BR}; break;
    case 7: order = {L, R, C, LFE, BC, SL, SR}; break;
    default: order = {L, R, C, LFE, BL, BR, SL, SR}; break;
    }
    order.resize(static_cast<std::size_t>(std::max(channels, 0)), C);
    return order;
}

std::vector<int> vorbisPositions(int channels)
{
    constexpr int L = SF_CHANNEL_MAP_FRONT_LEFT, R = SF_CHANNEL_MAP_FRONT_RIGHT, C = SF_CHANNEL_MAP_FRONT_CENTER,
                  LFE = SF_CHANNEL_MAP_LFE, BL = SF_CHANNEL_MAP_REAR_LEFT, BR = SF_CHANNEL_MAP_REAR_RIGHT,
                  BC = SF_CHANNEL_MAP_REAR_CENTER, SL = SF_CHANNEL_MAP_SIDE_LEFT, SR = SF_CHANNEL_MAP_SIDE_RIGHT;
    switch (channels) {
    case 3: return {L, C, R};
    case 5: return {L, C, R, BL, BR};
    case 6: return {L, C, R, BL, BR, LFE};
    case 7: return {L, C, R, SL, SR, BC, LFE};
    case 8: return {L, C, R, SL, SR, BL, BR, LFE};
    default: return wavePositions(channels);
    }
}

std::vector<int> waveDefault(int channels) { return fromChannelMap(wavePositions(channels)); }

std::vector<int> vorbisDefault(int channels) { return fromChannelMap(vorbisPositions(channels)); }

} // namespace channel_weighting
