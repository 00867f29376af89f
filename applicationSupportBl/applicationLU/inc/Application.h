// Application: the frame of the main process. start() initialises the process and
// then runs its receive loop, in which every signal goes to the composite message
// processor and to the signal distributor.
//
// A process derives from it, puts its own start-up in applicationSpecificInit and
// calls start(). The loop has no end of its own: start() returns only by an
// exception (on the host also when the kernel kills the process, which unwinds it).
#ifndef APPLICATION_H
#define APPLICATION_H

#include "dynTrace.h"
#include "plab/messaging/v1/Message.h"

#include <memory>

class Application {
  public:
    /// The argument is taken for the class's interface; this version has no use for it.
    explicit Application(int argument);
    /// Destroys the name-server client, the timer API and the composite processor, in
    /// that order. The signal distributor is left alive.
    virtual ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// Brings up the timer API (with its startinitialize) and the name-server client.
    virtual bool applicationCommonInit();
    /// The derived process's own start-up; the default only traces.
    virtual bool applicationSpecificInit();
    /// applicationCommonInit, then applicationSpecificInit; true when both went well.
    virtual bool init();
    /// Runs after every message of the loop; nothing by default.
    virtual void afterMessageHandled();
    /// A message no subscriber took: traced at level 1 (content at level 16), then dropped.
    virtual void handleUnknownMessage(const std::shared_ptr<plab::messaging::v1::Message>& message);
    /// Receives signals for ever and hands each to handleReceivedMessage.
    virtual void runTaskMainLoop();

    /// init, then runTaskMainLoop.
    void start();
    /// The dispatch of one message: composite processor, distributor, unknown, hook.
    void handleReceivedMessage(const std::shared_ptr<plab::messaging::v1::Message>& message);

  protected:
    TraceHandle m_trace;
};

#endif  // APPLICATION_H
