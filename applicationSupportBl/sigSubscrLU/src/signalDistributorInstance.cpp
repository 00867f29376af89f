#include "SignalDistributor.h"
#include "applsupp/InstanceByName.h"

namespace {
// The object under the key is the SignalDistributor itself; each getter converts it
// to the interface it offers.
constexpr applsupp::InstanceByName<SignalDistributor> kInstance{"SigSubcsrAPIPtrName"};
}  // namespace

SignalDistributorAPI* getSignalDistributorAPI() {
    return kInstance.get();
}

void destroySignalDistributorAPI() {
    kInstance.destroy();
}

namespace applsupp::signaldistributor::v2 {

SignalDistributorAPI* getSignalDistributorAPI() {
    return kInstance.get();
}

}  // namespace applsupp::signaldistributor::v2
