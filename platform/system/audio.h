#pragma once

#include <cstdint>

/// A set of audio output devices, one bit each.
using audio_devices_t = uint32_t;

enum : audio_devices_t {
    AUDIO_DEVICE_OUT_SPEAKER = 0x2,
    AUDIO_DEVICE_OUT_WIRED_HEADPHONE = 0x8,
    AUDIO_DEVICE_OUT_BLUETOOTH_A2DP = 0x80,
    AUDIO_DEVICE_OUT_AUX_DIGITAL = 0x400,
    AUDIO_DEVICE_OUT_USB_DEVICE = 0x4000,
    AUDIO_DEVICE_OUT_REMOTE_SUBMIX = 0x8000,
    AUDIO_DEVICE_OUT_DEFAULT = 0x40000000,
};
