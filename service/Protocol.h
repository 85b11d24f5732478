#pragma once

#include "util/Words.h"

#include <cstddef>
#include <cstdint>

// What the service's clients and the service must agree on: the layout of the buffers that they
// exchange, and the numbers in them. docs/clients.md describes the same for people.

namespace velora {

/// A number made of four characters, the first in the most significant byte.
constexpr uint32_t fourCharacters(const char (&text)[5]) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<uint8_t>(text[i]);
    return number;
}

/// Number of a command. Some change something (`setSfxParam`), some answer (`getSfxParam`), and
/// those of the first three numbers and 10 do both.
enum class Command : uint32_t {
    SWITCH_EFFECT = 0,
    PROFILE_PARAMETER = 1,
    PROFILE_PORT_PARAMETER = 2,
    PROFILE_COUNT = 3,     ///< only answers
    IEQ_PRESET_COUNT = 4,  ///< only answers
    SELECTED_PROFILE = 10,
    IS_PROFILE_MODIFIED = 11,       ///< only answers
    RESET_PROFILE = 12,             ///< only changes
    IS_MONO_INTERNAL_SPEAKER = 13,  ///< only answers
};

/// Words of a buffer given to `setSfxParam`. The command is a big-endian number, all other words
/// are in native byte order. The service writes the result word before it notifies the clients.
struct SetRequest {
    static constexpr size_t kCommand = 0;
    static constexpr size_t kResult = 1;
    static constexpr size_t kFirstArgument = 2;
};

/// Words of a buffer given to `getSfxParam`; the command is big-endian, as above.
struct GetRequest {
    static constexpr size_t kCommand = 0;
    static constexpr size_t kFirstArgument = 1;
    static constexpr size_t kSecondArgument = 2;
};

/// A command's number as the first word of a buffer, on a little-endian machine: the number lies in
/// the last of the four bytes.
constexpr int32_t wordOf(Command command) {
    return static_cast<int32_t>(static_cast<uint32_t>(command) << 24);
}

/// The second argument of a get-request for a profile's value on a port: profile and port share its
/// first byte, the profile in the upper half. So only profiles 0 to 15 can be asked for.
struct ProfileAndPort {
    static constexpr int kProfiles = 16;

    int profile;
    int port;

    static constexpr ProfileAndPort of(uint8_t byte) { return {byte >> 4, byte & 15}; }
    constexpr int32_t word() const { return profile << 4 | port; }
};

/// What every client is sent when a client has registered or unregistered.
inline constexpr int32_t kRegistrationNotice[] = {-1, 0};

/// True for an update that is such a notice.
inline bool isRegistrationNotice(const Words& update) {
    return update.size() == sizeof kRegistrationNotice && update[0] == kRegistrationNotice[0] &&
           update[1] == kRegistrationNotice[1];
}

/// Keys of `getIntParam`.
namespace key {
inline constexpr uint32_t kActiveDevice = fourCharacters("ADEV");
inline constexpr uint32_t kSystemGain = fourCharacters("AGSG");
inline constexpr uint32_t kMobilityProfile = fourCharacters("APMO");
inline constexpr uint32_t kChannelCount = fourCharacters("CHCT");
inline constexpr uint32_t kEffectOn = fourCharacters("SFXO");
inline constexpr uint32_t kCpDecoder = fourCharacters("DCCP");
inline constexpr uint32_t kDvDecoder = fourCharacters("DCDV");
inline constexpr uint32_t kOutputChannels = fourCharacters("DCOC");
inline constexpr uint32_t kDialogEnhancerAmount = fourCharacters("DEAM");
inline constexpr uint32_t kFormatVersion = fourCharacters("DTFV");
inline constexpr uint32_t kGameEffect = fourCharacters("GDEA");
inline constexpr uint32_t kLastDeviceQuery = fourCharacters("LCTM");
inline constexpr uint32_t kLastCodecType = fourCharacters("LCTP");
inline constexpr uint32_t kSpatializer = fourCharacters("SPAA");
inline constexpr uint32_t kMonoSpeaker = fourCharacters("SPKM");
inline constexpr uint32_t kPortraitSpeaker = fourCharacters("SPKP");

/// The one key of `setIntParam`: reads the extra tuning file again.
inline constexpr uint32_t kReload = fourCharacters("RLTF");
}  // namespace key

}  // namespace velora
