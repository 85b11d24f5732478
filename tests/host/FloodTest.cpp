#include "tests/host/HostFixture.h"

#include <future>
#include <list>

namespace velora::test {
namespace {

/// A connection that makes calls without waiting for their answers, and counts these.
class Caller {
public:
    explicit Caller(std::unique_ptr<Client> client) : mClient(std::move(client)) {}

    template <typename... Args>
    void send(const char* method, const Args&... args) {
        const auto call = host::create<host::Message>(
            [&](sd_bus_message** m) {
                return sd_bus_message_new_method_call(mClient->bus(), m, host::kBusName,
                                                      host::kObjectPath, interface, method);
            },
            method);
        (host::appendTo(call.get(), args), ...);
        host::check(sd_bus_call_async(mClient->bus(), nullptr, call.get(), onAnswer, this, 0),
                    method);
        ++mSent;
    }
    /// Takes in what has arrived, without looking at it, and returns the number of messages.
    uint64_t receive() {
        mClient->owner();  // the answer follows all that was sent to this connection before
        uint64_t received = 0;
        sd_bus_get_n_queued_read(mClient->bus(), &received);
        return received;
    }
    void read() {
        while (sd_bus_process(mClient->bus(), nullptr) > 0) continue;
    }
    bool isAnswered() {
        read();
        return mSent == answered + refused;
    }

    const char* interface = host::kInterface;
    size_t answered = 0;
    size_t refused = 0;

private:
    static int onAnswer(sd_bus_message* answer, void* self, sd_bus_error* /*error*/) {
        auto& caller = *static_cast<Caller*>(self);
        if (sd_bus_message_get_error(answer) == nullptr) ++caller.answered;
        if (sd_bus_message_is_method_error(answer, SD_BUS_ERROR_LIMITS_EXCEEDED) > 0) {
            ++caller.refused;
        }
        return 0;
    }

    const std::unique_ptr<Client> mClient;
    size_t mSent = 0;
};

class FloodTest : public HostFixture {
protected:
    static void reload(Caller& caller) { caller.send("SetIntParam", key::kReload, int64_t{0}); }
    static void select(Caller& caller, int32_t profile) {
        caller.send("SetSfxParam", request(Command::SELECTED_PROFILE, {profile}));
    }
};

// Everything is sent while the daemon is stopped, so that it finds it all at once.
TEST_F(FloodTest, AFloodByOneClientIsRefusedBeyondItsQuotaAndDelaysNobodyElse) {
    struct Row {
        const char* name;
        const char* interface;
        size_t before;  ///< calls of the flood that may be answered before the other's call
        void (*send)(Caller& flooding);
    };
    const Row kRows[] = {
        {"selections", host::kInterface, 300, [](Caller& c) { select(c, 1); }},
        {"registrations", host::kInterface, 300, [](Caller& c) { c.send("RegisterClient", 7); }},
        {"reloads", host::kInterface, 30, reload},
        {"introspection", "org.freedesktop.DBus.Introspectable", 300,
         [](Caller& c) { c.send("Introspect"); }},
    };
    for (const Row& row : kRows) {
        Caller flooding(connect());
        Caller other(connect());
        flooding.interface = row.interface;

        daemon->signal(SIGSTOP);
        for (int i = 0; i < 400; ++i) row.send(flooding);
        flooding.receive();
        other.send("GetSfxEnabled");
        other.receive();
        daemon->signal(SIGCONT);

        EXPECT_TRUE(waitFor([&] { return other.isAnswered(); })) << row.name;
        flooding.read();
        EXPECT_LT(flooding.answered, row.before) << row.name;
        EXPECT_TRUE(waitFor([&] { return flooding.isAnswered(); })) << row.name;
        EXPECT_GT(flooding.refused, 0U) << row.name;
    }
}

TEST_F(FloodTest, AClientThatDoesNotReadItsAnswersIsRefusedOnceAndServedAgainWhenItHasRead) {
    const host::Integers values(1024);
    for (uint32_t id = 0; id < 32; ++id) connect()->call<int32_t>("SetParam", 2U, id, values);
    EXPECT_THROW(connect()->call<int32_t>("SetParam", 2U, 32U, values), CommandError);
    Caller deaf(connect());
    daemon->signal(SIGSTOP);
    for (int i = 0; i < 10; ++i) deaf.send("GetStoredParams", false);
    deaf.receive();
    daemon->signal(SIGCONT);
    EXPECT_TRUE(connect()->call<bool>("GetSfxEnabled"));
    EXPECT_TRUE(waitFor([&] { return deaf.receive() >= 4; }));
    for (int i = 0; i < 200; ++i) deaf.send("GetStoredParams", false);
    EXPECT_TRUE(connect()->call<bool>("GetSfxEnabled"));
    EXPECT_EQ(deaf.receive(), 4U);  // its name, an answer, the ping and a refusal
    EXPECT_TRUE(waitFor([&] { return deaf.read(), deaf.answered > 3; }));
}

// A request waits while as many are pending as the service may have, whoever has made them.
TEST_F(FloodTest, WhatTheServiceCannotTakeYetWaitsForItsTurn) {
    Caller flooding(connect());
    Caller other(connect());
    {
        const auto lock = holdStore();
        for (int32_t i = 0; i < 50; ++i) select(flooding, 1 + i % 2);
        EXPECT_TRUE(waitFor([&] { return flooding.isAnswered(); }));
        for (int32_t i = 0; i < 50; ++i) select(flooding, 1 + i % 2);
        const auto another = connect();
        for (int i = 0; i < 60; ++i) another->call<bool>("GetSfxEnabled");  // in turn with them
        flooding.read();
        EXPECT_LT(flooding.answered, 70U);
        select(other, 3);
        other.send("RegisterClient", 1);
    }
    EXPECT_TRUE(waitFor([&] { return other.isAnswered(); }));
    EXPECT_EQ(other.refused, 0U);
    end();  // after completing what it accepted
}

TEST_F(FloodTest, ReloadsThatWaitAreDoneTogether) {
    installOem(extra + "\n");
    std::list<Caller> callers;
    for (int i = 0; i < 10; ++i) callers.emplace_back(connect());
    {
        const auto lock = holdStore();  // the first reload waits for it, and the others for that
        for (Caller& caller : callers) reload(caller);
        for (Caller& caller : callers) caller.receive();
        EXPECT_TRUE(connect()->call<bool>("GetSfxEnabled"));  // served behind them
    }
    for (Caller& caller : callers) EXPECT_TRUE(waitFor([&] { return caller.isAnswered(); }));
    EXPECT_LE(count("log", "after reload tuning file"), 2U);
}

TEST_F(FloodTest, CallsWaitForTheEndOfTheStart) {
    end();
    install(sample + "\n");
    auto lock = holdStore();  // filling the store from the changed file waits for it
    const auto started = std::async([&] { start(); });
    EXPECT_TRUE(waitFor([] {
        try {
            return !connect()->property("Version").empty();
        } catch (const CommandError&) {
            return false;  // the name isn't there yet
        }
    }));
    auto name = std::async([] { return connect()->call<std::string>("GetProfileName", 0); });
    EXPECT_EQ(name.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    lock.reset();
    EXPECT_EQ(name.get(), "Dynamic");
}

}  // namespace
}  // namespace velora::test
