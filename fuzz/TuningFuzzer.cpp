// A tuning file of any bytes ends in an error or in complete records.

#include "tuning/TuningFileParser.h"

#include <cstdlib>
#include <set>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include <log/log.h>

namespace {

template <typename Record>
void check(const velora::DeviceData::Records<Record>& records) {
    for (const Record* record : records) {
        if (record->size() != Record::kStoredParams.size()) abort();
        for (const auto& [parameter, values] : *record) {
            if (!Record::kStoredParams.contains(parameter)) abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger([](const __android_log_message*) {});
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    static const int file = memfd_create("tuning", 0);
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        abort();

    velora::TuningFileParser parser;
    if (parser.setTuningFile("/proc/self/fd/" + std::to_string(file)) != 0) return 0;
    parser.parseTuningFile();
    velora::DeviceData& contents = *parser.getDeviceData();
    contents.validateData();
    check(contents.getTunings());
    check(contents.getProfiles());
    check(contents.getProfileEndpoints());
    check(contents.getIeqPresets());
    check(contents.getGeqPresets());
    std::set<std::string> names;
    for (const auto* tuning : contents.getTunings()) names.insert(tuning->getName());
    for (const auto* device : contents.getDeviceTunings()) {
        if (!names.contains(device->getTuning())) abort();
    }
    if (contents.getProfileEndpoints().size() != 3 * contents.getProfiles().size()) abort();
    return 0;
}
