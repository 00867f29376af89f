#include "applicationServices.h"

#include "applsupp/InstanceByName.h"

namespace applsupp::application {

namespace {

// A service known by key and factory. The factory is process-wide: it is registered
// once, before the main process starts, and read by the main process only.
class Service {
  public:
    explicit Service(const char* key) : m_instance(key) {}

    void setFactory(ServiceFactory factory) {
        if (!factory.create || !factory.destroy) {
            factory = ServiceFactory{};
        }
        m_factory = std::move(factory);
    }

    void* get() {
        if (void* existing = m_instance.find()) {
            return existing;
        }
        if (!m_factory.create) {
            return nullptr;
        }
        return m_instance.get([this] { return m_factory.create(); });
    }

    bool destroy() {
        if (m_instance.find() == nullptr) {
            return true;
        }
        if (!m_factory.destroy) {
            // Made by someone who did not say how to end it: left alone rather than
            // deleted as the wrong type.
            return false;
        }
        m_instance.destroy(m_factory.destroy);
        return true;
    }

    bool start() {
        void* object = get();
        if (object == nullptr) {
            return false;
        }
        if (m_factory.startinitialize) {
            m_factory.startinitialize(object);
        }
        return true;
    }

  private:
    InstanceByName<void> m_instance;
    ServiceFactory m_factory;
};

Service& timerApi() {
    static Service service(kTimerApiKey);
    return service;
}

Service& nameServer() {
    static Service service(kNameServerKey);
    return service;
}

}  // namespace

void setTimerApiFactory(ServiceFactory factory) {
    timerApi().setFactory(std::move(factory));
}
void setNameServerFactory(ServiceFactory factory) {
    nameServer().setFactory(std::move(factory));
}

void* getTimerApi() {
    return timerApi().get();
}
bool destroyTimerApi() {
    return timerApi().destroy();
}
void* getNameServer() {
    return nameServer().get();
}
bool destroyNameServer() {
    return nameServer().destroy();
}

bool startTimerApi() {
    return timerApi().start();
}

}  // namespace applsupp::application
