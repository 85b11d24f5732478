#include "context/SndContextChangeObservable.h"
#include "tests/context/ContextFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SndContextChangeObservableTest : public ContextFixture {
protected:
    SndContext& context = restart();
    SndContextChangeObservable observable;
    RecordingObserver observers[3];
};

TEST_F(SndContextChangeObservableTest, EveryObserverIsToldOnceInTheOrderOfAddresses) {
    std::vector<int> order;
    for (const int i : {2, 0, 1, 0}) {
        observable.registerObserver(&observers[i]);
        observers[i].onTold = [&order, i] { order.push_back(i); };
    }
    observable.onSfxOnChanged(context, true);
    EXPECT_THAT(order, ElementsAre(0, 1, 2));
    observable.unregisterObserver(&observers[1]);
    observable.onSelectedProfileChanged(context);
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 0, 2));
    observable.unregisterAll();
    observable.onLoad(context);
    EXPECT_THAT(observers[0].told, ElementsAre("on", "profile"));
}

TEST_F(SndContextChangeObservableTest, AnObserverMayRegisterAndUnregisterWhileItIsTold) {
    observable.registerObserver(&observers[0]);
    observable.registerObserver(&observers[1]);
    observers[0].onTold = [&] {
        observable.unregisterObserver(&observers[0]);
        observable.unregisterObserver(&observers[1]);
        observable.registerObserver(&observers[2]);
    };
    observable.onSfxOnChanged(context, false);
    EXPECT_THAT(observers[0].told, ElementsAre("off"));
    EXPECT_THAT(observers[1].told, IsEmpty()) << "it was taken out before its turn";
    observable.onSfxOnChanged(context, true);
    EXPECT_THAT(observers[0].told, ElementsAre("off"));
    EXPECT_EQ(observers[2].told.back(), "on");
}

TEST_F(SndContextChangeObservableTest, AProfileOrEndpointThatIsNotThereEndsTheProcess) {
    EXPECT_EXIT(context.getProfile(5), testing::ExitedWithCode(255), "");
    EXPECT_EXIT(context.getProfileEndpoint(static_cast<Endpoint>(9)), testing::ExitedWithCode(255),
                "");
}

}  // namespace
}  // namespace velora::test
