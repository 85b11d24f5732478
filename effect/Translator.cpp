#include "effect/Translator.h"

#include "effect/SetParamCommand.h"

#include <algorithm>

namespace velora {

namespace {

using Values = ParameterValues::Values;
using enum SfxParameter;

/// Copies the values of one parameter.
template <SfxParameter kSfxParameter, Parameter kSource>
struct SimpleTranslator {
    static constexpr std::array kSrcParams{kSource};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        // The source has an entry for every parameter that was sent, even if it is empty.
        if (source.find(kSource) == nullptr) source.checkAndUpdate(kSource, {});
        command.add(kSfxParameter, source.get(kSource));
    }
};

bool isOn(const ParameterValues& source, Parameter parameter) {
    return source.firstOf(parameter, 0) != 0;
}

int countOf(const Values& values) { return static_cast<int>(values.size()); }

/// The numbers of channels that the effect supports: front left and right, or these and surround
/// left and right.
constexpr int kStereo = 2;
constexpr int kQuad = 4;

int channelsOf(const ParameterValues& source) {
    return source.firstOf(OUTPUT_CHANNELS, kStereo) >= kQuad ? kQuad : kStereo;
}

/// The parameters that hold the values of each channel.
struct PerChannel {
    Parameter left;
    Parameter right;
    Parameter leftSurround;
    Parameter rightSurround;
};

/// Adds one entry: the number of channels, `second`, `common`, then the values of each channel that
/// the output has.
void addPerChannel(SetParamCommand& command, SfxParameter parameter, const ParameterValues& source,
                   int second, const Values& common, const PerChannel& channels) {
    const Values head{channelsOf(source), second};
    const Values& left = source.get(channels.left);
    const Values& right = source.get(channels.right);

    if (head.front() == kStereo) {
        command.add(parameter, {&head, &common, &left, &right});
        return;
    }

    command.add(parameter, {&head, &common, &left, &right, &source.get(channels.leftSurround),
                            &source.get(channels.rightSurround)});
}

struct DeAmountTranslator {
    static constexpr std::array kSrcParams{DIALOG_ENHANCER_AMOUNT};
    static constexpr int kMax = 12;  ///< the effect's maximum; clients may store up to 16

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        Values amount = source.get(DIALOG_ENHANCER_AMOUNT);
        if (!amount.empty()) amount.front() = std::min(amount.front(), kMax);
        command.add(DEA, amount);
    }
};

struct GeqTranslator {
    static constexpr std::array kSrcParams{GEQ_FREQUENCY, GEQ_GAIN};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        const Values& frequencies = source.get(GEQ_FREQUENCY);
        command.add(GEBS, countOf(frequencies), {&frequencies, &source.get(GEQ_GAIN)});
        command.add(VCBF, frequencies);
    }
};

struct IeqTranslator {
    static constexpr std::array kSrcParams{IEQ_FREQUENCY, IEQ_TARGET};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        const Values& frequencies = source.get(IEQ_FREQUENCY);
        command.add(IEBS, countOf(frequencies), {&frequencies, &source.get(IEQ_TARGET)});
    }
};

struct AudioOptimizerTranslator {
    static constexpr std::array kSrcParams{AUDIO_OPTIMIZER_FREQUENCY, AUDIO_OPTIMIZER_GAIN_L,
                                           AUDIO_OPTIMIZER_GAIN_LS, AUDIO_OPTIMIZER_GAIN_R,
                                           AUDIO_OPTIMIZER_GAIN_RS};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        const Values& frequencies = source.get(AUDIO_OPTIMIZER_FREQUENCY);
        addPerChannel(command, AOBS, source, countOf(frequencies), frequencies,
                      {AUDIO_OPTIMIZER_GAIN_L, AUDIO_OPTIMIZER_GAIN_R, AUDIO_OPTIMIZER_GAIN_LS,
                       AUDIO_OPTIMIZER_GAIN_RS});
    }
};

struct AudioRegulatorTranslator {
    static constexpr std::array kSrcParams{REGULATOR_STRESS_AMOUNT,
                                           REGULATOR_FREQUENCY,
                                           REGULATOR_ISOLATED_BAND,
                                           REGULATOR_THRESHOLD_HIGH,
                                           REGULATOR_THRESHOLD_LOW,
                                           REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT,
                                           REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT_SURROUND,
                                           REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT,
                                           REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT_SURROUND};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        const Values& stress = source.get(REGULATOR_STRESS_AMOUNT);
        command.add(ARSA, countOf(stress), {&stress});

        const Values& frequencies = source.get(REGULATOR_FREQUENCY);
        command.add(ARBS, countOf(frequencies),
                    {&frequencies, &source.get(REGULATOR_THRESHOLD_LOW),
                     &source.get(REGULATOR_THRESHOLD_HIGH), &source.get(REGULATOR_ISOLATED_BAND)});

        addPerChannel(
            command, RSSA, source, isOn(source, REGULATOR_SIBILANCE_SUPPRESS_ENABLE) ? 1 : 0, {},
            {REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT, REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT,
             REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT_SURROUND,
             REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT_SURROUND});
    }
};

struct VirtualBassEnableTranslator {
    static constexpr std::array kSrcParams{VIRTUAL_BASS_ENABLE, VIRTUAL_BASS_TYPE};
    static constexpr int kModeOn = 3;  ///< of the effect's modes, the one for enabled virtual bass

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        command.add(VBM, isOn(source, VIRTUAL_BASS_ENABLE) ? kModeOn : 0);
        command.add(VBON, source.get(VIRTUAL_BASS_TYPE));
    }
};

struct VirtualBassTranslator {
    static constexpr std::array kSrcParams{VIRTUAL_BASS_SRC_FREQ_LOW, VIRTUAL_BASS_SRC_FREQ_HIGH,
                                           VIRTUAL_BASS_MIX_FREQ_LOW, VIRTUAL_BASS_MIX_FREQ_HIGH};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        command.add(VBSF, {&source.get(VIRTUAL_BASS_SRC_FREQ_LOW),
                           &source.get(VIRTUAL_BASS_SRC_FREQ_HIGH)});
        command.add(VBMF, {&source.get(VIRTUAL_BASS_MIX_FREQ_LOW),
                           &source.get(VIRTUAL_BASS_MIX_FREQ_HIGH)});
    }
};

/// One entry: the virtualizer's switch, the number of channels that it renders, the orientation of
/// the loudspeakers and, only for the built-in ones, the matrix by which channels are mixed.
struct OutputModeTranslator {
    static constexpr std::array kSrcParams{VIRTUALIZER_ENABLE, OUTPUT_MIX_MATRIX, ORIENTATION};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint endpoint,
                             bool mono) {
        const Values& enable = source.get(VIRTUALIZER_ENABLE);
        const Values channels{mono ? 1 : channelsOf(source)};
        const Values& orientation = source.get(ORIENTATION);

        if (endpoint == Endpoint::SPEAKER) {
            command.add(DOM, {&enable, &channels, &orientation, &source.get(OUTPUT_MIX_MATRIX)});
        } else {
            command.add(DOM, {&enable, &channels, &orientation});
        }
    }
};

struct ComplexEqualizerTranslator {
    static constexpr std::array kSrcParams{
        COMPLEX_EQUALIZER_TUNING_LEFT, COMPLEX_EQUALIZER_TUNING_LEFT_SURROUND,
        COMPLEX_EQUALIZER_TUNING_RIGHT, COMPLEX_EQUALIZER_TUNING_RIGHT_SURROUND};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        addPerChannel(
            command, CEQT, source, countOf(source.get(COMPLEX_EQUALIZER_TUNING_LEFT)), {},
            {COMPLEX_EQUALIZER_TUNING_LEFT, COMPLEX_EQUALIZER_TUNING_RIGHT,
             COMPLEX_EQUALIZER_TUNING_LEFT_SURROUND, COMPLEX_EQUALIZER_TUNING_RIGHT_SURROUND});
    }
};

struct CustomDRCTranslator {
    static constexpr std::array kSrcParams{CUSTOM_DRC_METADATA};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        command.add(DRCM, source.get(CUSTOM_DRC_METADATA));
    }
};

struct BassMbdrcTranslator {
    static constexpr std::array kSrcParams{BASS_MBDRC_TUNING};

    static void sfxTranslate(SetParamCommand& command, ParameterValues& source, Endpoint, bool) {
        command.add(BMDT, {&source.get(BASS_MBDRC_ENABLE), &source.get(BASS_MBDRC_TUNING)});
    }
};

template <typename Kind>
consteval Translator translator() {
    return {Kind::kSrcParams, Kind::sfxTranslate};
}

template <SfxParameter kSfxParameter, Parameter kSource>
consteval Translator simple() {
    return translator<SimpleTranslator<kSfxParameter, kSource>>();
}

}  // namespace

constexpr std::array<Translator, kNumTranslators> kAllTranslators{{
    simple<GEON, GRAPHIC_EQUALIZER_ENABLE>(),
    translator<GeqTranslator>(),
    simple<IEON, IEQ_ENABLE>(),
    simple<IEA, IEQ_AMOUNT>(),
    simple<IEID, IEQ_ID>(),
    translator<IeqTranslator>(),
    simple<MDEE, MI_DIALOG_ENHANCER_STEERING_ENABLE>(),
    simple<MDLE, MI_DV_LEVELER_STEERING_ENABLE>(),
    simple<MIEE, MI_IEQ_STEERING_ENABLE>(),
    simple<MSCE, MI_SURROUND_COMPRESSOR_STEERING_ENABLE>(),
    simple<MAVE, MI_ADAPTIVE_VIRTUALIZER_STEERING_ENABLE>(),
    simple<MVBE, MI_VIRTUALIZER_BINAURAL_STEERING_ENABLE>(),
    simple<AOON, AUDIO_OPTIMIZER_ENABLE>(),
    translator<AudioOptimizerTranslator>(),
    simple<BEON, BASS_ENHANCER_ENABLE>(),
    simple<BEB, BASS_ENHANCER_BOOST>(),
    simple<BECF, BASS_ENHANCER_CUTOFF_FREQUENCY>(),
    simple<BEW, BASS_ENHANCER_WIDTH>(),
    simple<PLB, CALIBRATION_BOOST>(),
    translator<DeAmountTranslator>(),
    simple<DEON, DIALOG_ENHANCER_ENABLE>(),
    simple<DED, DIALOG_ENHANCER_DUCKING>(),
    translator<AudioRegulatorTranslator>(),
    simple<ARDS, REGULATOR_DISTORTION_SLOPE>(),
    simple<ARON, REGULATOR_ENABLE>(),
    simple<ARDE, REGULATOR_SPEAKER_DIST_ENABLE>(),
    simple<AROD, REGULATOR_OVERDRIVE>(),
    simple<ARTP, REGULATOR_TIMBRE_PRESERVATION>(),
    simple<RSSE, REGULATOR_SIBILANCE_SUPPRESS_ENABLE>(),
    simple<NGON, SURROUND_DECODER_ENABLE>(),
    simple<DSB, SURROUND_BOOST>(),
    translator<VirtualBassEnableTranslator>(),
    translator<VirtualBassTranslator>(),
    simple<VBOG, VIRTUAL_BASS_OVERALL_GAIN>(),
    simple<VBSG, VIRTUAL_BASS_SLOPE_GAIN>(),
    simple<VBHG, VIRTUAL_BASS_SUBGAINS>(),
    simple<VBBG, VIRTUAL_BASS_BLEND_LINEAR_GAIN>(),
    simple<VBCT, VIRTUAL_BASS_COMPRESSOR_TUNING>(),
    simple<VBHM, VIRTUAL_BASS_HARMGAINS>(),
    simple<VBHB, VIRTUAL_BASS_HYBGAINS>(),
    simple<VBMX, VIRTUAL_BASS_MIX_FREQUENCY>(),
    simple<VBRG, VIRTUAL_BASS_ROLLOFF_GAIN>(),
    simple<VMB, VOLMAX_BOOST>(),
    simple<DVLA, VOLUME_LEVELER_AMOUNT>(),
    simple<DVLC, VOLUME_LEVELER_COMPRESSOR_ENABLE>(),
    simple<DVLE, VOLUME_LEVELER_ENABLE>(),
    simple<DVLI, VOLUME_LEVELER_IN_TARGET>(),
    simple<DVLO, VOLUME_LEVELER_OUT_TARGET>(),
    simple<DVME, VOLUME_MODELER_ENABLE>(),
    simple<DVMC, VOLUME_MODELER_CALIBRATION>(),
    translator<OutputModeTranslator>(),
    simple<DHFM, HEIGHT_FILTER_MODE>(),
    simple<DFSA, VIRTUALIZER_FRONT_SPEAKER_ANGLE>(),
    simple<DSA, VIRTUALIZER_SURROUND_SPEAKER_ANGLE>(),
    simple<DHSA, VIRTUALIZER_HEIGHT_SPEAKER_ANGLE>(),
    simple<SVSB, VIRTUALIZER_START_BAND>(),
    simple<VSSD, HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE>(),
    simple<CEON, COMPLEX_EQUALIZER_ENABLE>(),
    translator<ComplexEqualizerTranslator>(),
    simple<DPLP, PEAK_VALUE>(),
    translator<CustomDRCTranslator>(),
    simple<HPON, HEARING_PROTECTION_ENABLE>(),
    simple<HPTW, HEARING_PROTECTION_RMS_AVERAGING_TIME_WIN_LEN>(),
    simple<HPAT, HEARING_PROTECTION_RMS_ATTENUATION_TARGET>(),
    simple<HPAA, HEARING_PROTECTION_ATTENUATION_ATTACK_TIME>(),
    simple<HPAR, HEARING_PROTECTION_ATTENUATION_RELEASE_TIME>(),
    simple<BMDE, BASS_MBDRC_ENABLE>(),
    translator<BassMbdrcTranslator>(),
    simple<RVSA, REVERB_SUPPRESSION_AMOUNT>(),
    simple<RVSE, REVERB_SUPPRESSION_ENABLE>(),
    simple<HVM, HEADPHONE_VIRTUALIZER_MODE>(),
    simple<HVRC, ADVANCED_HEADPHONE_VIRTUALIZER_RENDERING_CONFIG>(),
    simple<HLRA, ADVANCED_HEADPHONE_VIRTUALIZER_LR_ANGLE>(),
    simple<SDFA, SURROUND_DECODER_DIFFUSE_RELOCATING_TO_FRONT_AMOUNT>(),
    simple<SVM, SPEAKER_VIRTUALIZER_MODE>(),
    simple<AVSB, ADVANCED_SPEAKER_VIRTUALIZER_START_BIN>(),
    simple<SVRC, ADVANCED_SPEAKER_VIRTUALIZER_RENDERING_CONFIG>(),
}};

namespace {

/// The translator of each parameter, at the index of its number; null if it has none.
constexpr auto kTranslatorOf = [] {
    std::array<const Translator*, kNumParameters> owners{};
    for (const Translator& translator : kAllTranslators) {
        for (const Parameter parameter : translator.srcParams) {
            owners[static_cast<size_t>(parameter)] = &translator;
        }
    }
    return owners;
}();

/// The parameters that are never sent because of their own changes; composites may read them.
constexpr ParameterSet kUntranslated = ParameterSet() | BASS_EXTRACTION_CUTOFF_FREQUENCY |
                                       BASS_EXTRACTION_ENABLE | OUTPUT_CHANNELS | VIRTUAL_BASS_MODE;

// Every other parameter has exactly one translator.
static_assert([] {
    size_t sources = 0;
    for (const Translator& translator : kAllTranslators) sources += translator.srcParams.size();
    for (const ParameterInfo& info : kParameters) {
        const bool owned = kTranslatorOf[static_cast<size_t>(info.parameter)] != nullptr;
        if (owned == kUntranslated.contains(info.parameter)) return false;
    }
    return sources + kUntranslated.size() == kNumParameters;
}());

}  // namespace

const Translator* getTranslator(Parameter parameter) {
    return isParameter(parameter) ? kTranslatorOf[static_cast<size_t>(parameter)] : nullptr;
}

}  // namespace velora
