#pragma once

#include "util/Words.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// What the service and its clients must agree on: the layout of the buffers that they exchange, and
// the numbers in them. docs/clients.md describes each command with its arguments and answers, the
// ports, and the integer keys, for the authors of clients.
//
// A buffer is a sequence of 32-bit words. The first word of a request is the command, in big-endian
// byte order. The other words are in the machine's own byte order, since both sides run on the same
// machine, except the one that `ProfileAndPort` describes.

namespace velora {

/// A number made of four characters, the first in the most significant byte.
constexpr uint32_t fourCharacters(const char (&text)[5]) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<uint8_t>(text[i]);
    return number;
}

/// The commands. `setSfxParam` uses them to change a setting, `getSfxParam` to read one; the
/// comments say which of the two accepts each command.
enum class Command : uint32_t {
    SWITCH_EFFECT = 0,              ///< set and get
    PROFILE_PARAMETER = 1,          ///< set and get
    PROFILE_PORT_PARAMETER = 2,     ///< set and get
    PROFILE_COUNT = 3,              ///< get
    IEQ_PRESET_COUNT = 4,           ///< get
    SELECTED_PROFILE = 10,          ///< set and get
    IS_PROFILE_MODIFIED = 11,       ///< get
    RESET_PROFILE = 12,             ///< set
    IS_MONO_INTERNAL_SPEAKER = 13,  ///< get
};

/// Indices of the words of a buffer for `setSfxParam`. For SWITCH_EFFECT, SELECTED_PROFILE and
/// RESET_PROFILE the service writes the first argument into the result word before it notifies the
/// clients; for all others the result word remains as it was sent.
struct SetRequest {
    static constexpr size_t kCommand = 0;
    static constexpr size_t kResult = 1;
    static constexpr size_t kFirstArgument = 2;
};

/// Indices of the words of a buffer for `getSfxParam`.
struct GetRequest {
    static constexpr size_t kCommand = 0;
    static constexpr size_t kFirstArgument = 1;
    static constexpr size_t kSecondArgument = 2;
};

/// The command in the first word of a request. It may be a number without an enumerator; for an
/// empty buffer it is 0.
inline Command commandOf(const Words& request) {
    return Command{request.bigEndianAt(SetRequest::kCommand)};
}

/// `command` as the first word of a request: its number in big-endian byte order.
constexpr int32_t wordOf(Command command) {
    const auto number = static_cast<uint32_t>(command);
    return std::bit_cast<int32_t>(
        std::array{static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
                   static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)});
}

/// The second argument of a get-request for a profile's value on a port. Its first byte in memory
/// has the profile in the upper four bits and the port in the lower four, the other bytes are 0. So
/// only profiles 0 to 15 can be asked for.
struct ProfileAndPort {
    static constexpr int kProfiles = 16;  ///< that fit into four bits

    int profile;
    int port;

    static constexpr ProfileAndPort of(uint8_t byte) { return {byte >> 4, byte & 15}; }
    constexpr int32_t word() const {
        return std::bit_cast<int32_t>(
            std::array<uint8_t, 4>{static_cast<uint8_t>(profile << 4 | port)});
    }
};

/// The update that every client gets when a client has registered or unregistered.
inline constexpr int32_t kRegistrationNotice[] = {-1, 0};

/// Whether `update` is a registration notice.
inline bool isRegistrationNotice(const Words& update) {
    return update.size() == sizeof kRegistrationNotice && update[0] == kRegistrationNotice[0] &&
           update[1] == kRegistrationNotice[1];
}

/// Keys of `getIntParam`; docs/clients.md says what each answers.
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

/// The only key of `setIntParam`: reads the maker's extra tuning file again, whatever the value.
inline constexpr uint32_t kReload = fourCharacters("RLTF");
}  // namespace key

}  // namespace velora
