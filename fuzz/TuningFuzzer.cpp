// Whatever bytes a tuning file has: opening it fails, or parsing it yields complete records.

#include "fuzz/Check.h"
#include "tuning/TuningFileParser.h"

#include <set>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using velora::fuzz::check;

template <typename Record>
void checkAll(const velora::DeviceData::Records<Record>& records) {
    for (const Record* record : records) velora::fuzz::checkComplete(*record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    velora::fuzz::dropLog();
    static const int file = memfd_create("tuning", 0);
    check(ftruncate(file, 0) == 0);
    check(pwrite(file, data, size, 0) == static_cast<ssize_t>(size));

    velora::TuningFileParser parser;
    if (parser.setTuningFile("/proc/self/fd/" + std::to_string(file)) != 0) return 0;
    parser.parseTuningFile();
    velora::DeviceData& contents = *parser.getDeviceData();
    contents.validateData();

    checkAll(contents.getTunings());
    checkAll(contents.getProfiles());
    checkAll(contents.getProfileEndpoints());
    checkAll(contents.getIeqPresets());
    checkAll(contents.getGeqPresets());

    // Every device refers to a tuning of the file, and every profile has its endpoints.
    std::set<std::string> names;
    for (const auto* tuning : contents.getTunings()) names.insert(tuning->getName());
    for (const auto* device : contents.getDeviceTunings()) {
        check(names.contains(device->getTuning()));
    }
    check(contents.getProfileEndpoints().size() == 3 * contents.getProfiles().size());
    return 0;
}
