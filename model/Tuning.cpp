#include "model/Tuning.h"

#include "model/RecordText.h"

#include <utility>

namespace velora {

Tuning::Tuning(std::string name, Endpoint endpoint, bool mono)
    : ParameterValues(true),
      mId(-1),
      mName(std::move(name)),
      mEndpoint(endpoint),
      mMono(mono),
      mReadonly(true) {}

Tuning::Tuning(int64_t id, std::string name, Endpoint endpoint, bool mono, bool readonly)
    : ParameterValues(false),
      mId(id),
      mName(std::move(name)),
      mEndpoint(endpoint),
      mMono(mono),
      mReadonly(readonly) {}

void Tuning::setEndpoint(std::string_view portName) {
    if (const Endpoint* const endpoint = kEndpNameToEndpoint.find(portName)) mEndpoint = *endpoint;
}

std::string Tuning::toString() const {
    return recordLine("id", mId) + recordLine("name", mName) +
           recordLine("endpoint", endpointName(mEndpoint)) +
           recordLine("mono", recordBoolean(mMono)) +
           recordLine("readonly", recordBoolean(mReadonly)) + valuesToString();
}

}  // namespace velora
