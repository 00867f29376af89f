#include "applsupp/InstanceByName.h"
#include "applsupp/msgprocessor/v1/CompositeMessageProcessor.h"

namespace applsupp::msgprocessor::v1 {

namespace {
constexpr InstanceByName<CompositeMessageProcessor> kInstance{"CompositeMessageProcessorPtrName"};
}  // namespace

CompositeMessageProcessorAPI* getCompositeMessageProcessor() {
    return kInstance.get();
}

void destroyCompositeMessageProcessor() {
    kInstance.destroy();
}

}  // namespace applsupp::msgprocessor::v1
