// The process-wide services that Application brings up but whose classes live in the
// units above it: the timer API and the name-server client.
//
// Each is held under its key in the environment of process 0, like every instance by
// name: "TimerAPILU" holds the timer API, "NameServerKeyName" the name-server client.
// The unit that owns the class registers how to make, start and delete it, before
// the application's init runs:
//
//   applsupp::application::registerTimerApi<Timer>();          // new Timer, startinitialize(),
//   delete applsupp::application::registerNameServer<plab::nameserver::v1::NameServerOse>();
//
// Without a registration the getters give null and applicationCommonInit notes at
// level 4 that the service is not present, then goes on.
#ifndef APPLSUPP_APPLICATION_SERVICES_H
#define APPLSUPP_APPLICATION_SERVICES_H

#include <functional>

namespace applsupp::application {

/// The key of the timer API in the environment of process 0.
inline constexpr const char* kTimerApiKey = "TimerAPILU";
/// The key of the name-server client in the environment of process 0.
inline constexpr const char* kNameServerKey = "NameServerKeyName";

/// How to make, start and end a service object; the object is seen here only as an
/// address, the same one that the service's own typed getter finds under the key.
struct ServiceFactory {
    std::function<void*()> create;               ///< allocates and constructs the object
    std::function<void(void*)> startinitialize;  ///< starts it after get; may be empty
    std::function<void(void*)> destroy;          ///< the deleting destructor
};

/// Registers the timer API's factory; an empty create takes the registration back.
void setTimerApiFactory(ServiceFactory factory);
/// Registers the name-server client's factory; an empty create takes it back.
void setNameServerFactory(ServiceFactory factory);

/// The timer API, made with the registered factory on first use; null without one.
void* getTimerApi();
/// Deletes the timer API through the registered factory; nothing when none is stored.
/// False when an object is stored but no factory says how to delete it: it is left.
bool destroyTimerApi();
/// The name-server client, made with the registered factory on first use; null without one.
void* getNameServer();
/// Deletes the name-server client through the registered factory, as destroyTimerApi().
bool destroyNameServer();

/// Gets the timer API and calls its startinitialize; false when it is not present.
bool startTimerApi();

/// Registers TimerApiT (default-constructible, with startinitialize()) as the timer API.
template <typename TimerApiT>
void registerTimerApi() {
    setTimerApiFactory(
        ServiceFactory{[] { return static_cast<void*>(new TimerApiT()); },
                       [](void* object) { static_cast<TimerApiT*>(object)->startinitialize(); },
                       [](void* object) { delete static_cast<TimerApiT*>(object); }});
}

/// Registers NameServerT (default-constructible) as the name-server client.
template <typename NameServerT>
void registerNameServer() {
    setNameServerFactory(
        ServiceFactory{[] { return static_cast<void*>(new NameServerT()); },
                       {},
                       [](void* object) { delete static_cast<NameServerT*>(object); }});
}

}  // namespace applsupp::application

#endif  // APPLSUPP_APPLICATION_SERVICES_H
