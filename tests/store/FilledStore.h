#pragma once

#include "store/Provider.h"
#include "tests/support/RootFixture.h"

#include <string>
#include <vector>

namespace velora::test {

inline constexpr int kFilledProfiles = 3;

/// Replaces everything in the store by records that all contain `mark`, as from a tuning file.
inline bool fill(Provider& provider, int mark) {
    const std::string text = std::to_string(mark);
    Transaction transaction(provider);
    provider.clear();
    provider.initDatabase();
    IeqPreset ieq(0, "off" + text);
    provider.create(&ieq);
    for (int id = 0; id < kFilledProfiles; ++id) {
        GeqPreset geq(id);
        geq.set(GEQ_GAIN, std::vector<int>(20, mark));
        provider.create(&geq);
        Profile profile(id, "profile" + text, false);
        profile.setSelectedGeqPreset(mark);
        provider.create(&profile);
        for (const Endpoint endpoint : kEndpoints) {
            ProfileEndpoint record(id, endpoint, mark);
            provider.create(&record);
        }
    }
    Tuning tuning("tuning", Endpoint::HEADPHONE, true);
    tuning.set(AUDIO_OPTIMIZER_GAIN_L, std::vector<int>(40, mark));
    provider.create(&tuning, Provider::kDefaultName);
    DeviceTuning device("device", "usb", "tuning");
    provider.create(&device, Provider::kDefaultName);
    provider.setDefaultXmlSignature(text);
    provider.setSelectedProfile(mark);
    return transaction.commit();
}

/// Every cell of a query's rows in the store, as texts.
inline std::vector<std::string> cells(const std::string& sql) {
    std::vector<std::string> all;
    DatabaseHelper store("kiv_sqlite3.db");
    EXPECT_TRUE(store.getAllRows(sql, {}, [&](std::span<const RowData> row) {
        for (const RowData& cell : row)
            all.push_back(cell.storageClass == 1 ? std::to_string(cell.integer)
                                                 : std::string(cell.text));
    }));
    return all;
}

}  // namespace velora::test
