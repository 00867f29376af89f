// ImaFacade: the process's one reader of other managed objects' attributes, through
// the platform's attribute-read service "DOVK_OMF_MAO_IMA_SERVICE_NAME".
//
//   class MyClient : public ImaClient {
//       void readCfm(const ImaMoAttributes& attributes) override {
//           ... attributes["ManagedElement=1,EquipmentSupportFunction=1"]["fullDistinguishedName"]
//       }
//   };
//   ImaFacade::getInstance()->read(&client, {"ManagedElement=1,EquipmentSupportFunction=1"});
//
// A read asks for every attribute of the managed objects named by their LDNs; the
// answer comes later, from the main loop, as one readCfm() call. An object the service
// does not know, or an attribute it does not have, is missing from the map. A reply that
// cannot be read (malformed, or a failure of the service) gives an empty map. A read is
// answered at most once: one made while the service is down waits until it is found,
// one that the service took and did not answer before it ended is never answered.
//
// The facade finds the service through the name-server client, supervises its
// process by attach, and receives the replies through the signal distributor: it runs
// in the main process only, and nothing is locked. getInstance() makes it and runs
// init(); destroyInstance() ends it together with every read under way, so that a
// client that goes away can make sure it is never called.
#ifndef IMA_FACADE_H
#define IMA_FACADE_H

#include "SignalNumber2NameApi.h"
#include "SignalSubscriber.h"
#include "ose.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Attribute values by LDN and attribute name.
typedef std::map<std::string, std::map<std::string, std::string>> ImaMoAttributes;

/// The receiver of one read's answer.
class ImaClient {
  public:
    virtual ~ImaClient() = default;
    /// The answer: every attribute read, by LDN and name; empty when the read failed.
    virtual void readCfm(const ImaMoAttributes& attributes) = 0;
};

class ImaAPI {
  public:
    virtual ~ImaAPI() = default;
    /// Subscribes the replies and looks for the service; once.
    virtual void init() = 0;
    /// Reads the attributes of the objects named by ldns; client is told once, later.
    /// The client must stay alive until then, or until the facade is destroyed.
    virtual void read(ImaClient* client, const std::vector<std::string>& ldns) = 0;
};

class ImaFacade : public ImaAPI, public SignalSubscriber {
  public:
    /// The process's facade, made and initialised on first use.
    static ImaFacade* getInstance();
    /// Deletes the facade and forgets its reads; the next getInstance() makes a new one.
    static void destroyInstance();

    void init() override;
    void read(ImaClient* client, const std::vector<std::string>& ldns) override;
    void handleSignal(union SIGNAL** signal) override;

    /// The request document for ldns, in their order.
    static std::string requestText(const std::vector<std::string>& ldns);

    ~ImaFacade() override;
    ImaFacade(const ImaFacade&) = delete;
    ImaFacade& operator=(const ImaFacade&) = delete;

  private:
    using ServiceCallback = std::function<void(const std::string&, PROCESS)>;

    ImaFacade();

    void subscribeToServer();
    void unsubscribeToServer();
    void serverFound(PROCESS pid);
    void serverDied(PROCESS from);
    void readCfm(union SIGNAL* signal);
    void sendRequest(uint32_t clientRef, const std::string& text);
    void processError(const std::string& text);

    PROCESS serverPid = 0;  // 0 while the service is unknown
    SignalNameList receivedSignals;
    SignalNameList sentSignals;
    std::map<uint32_t, ImaClient*> clients;                       // reads under way; not owned
    std::deque<std::pair<uint32_t, std::string>> queuedRequests;  // waiting for the service
    uint32_t nextClientRef = 0;
    std::shared_ptr<ServiceCallback> serviceFoundCallback;
    std::shared_ptr<ServiceCallback> serviceLostCallback;
    // Ours: the attach to serverPid, taken back when another server is found or the
    // facade ends; the server whose end the attach told, which is never taken again;
    // whether the name-server subscription stands; whether init() has run, so that a
    // second call changes nothing.
    OSATTREF attachRef = 0;
    PROCESS endedServerPid = 0;
    bool subscribed = false;
    bool initialised = false;
};

#endif  // IMA_FACADE_H
