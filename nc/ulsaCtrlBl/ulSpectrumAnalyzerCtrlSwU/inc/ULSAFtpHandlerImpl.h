// ULSAFtpHandlerImpl: one upload through the platform's remote file access service
// (RFAI): find the service, initiate it, connect, put, terminate.
//
// Runs on the main process: its replies arrive through the signal distributor. The
// upload's end is told to the client with ftpDone(ok, text), from the service's
// terminate confirmation (or at once where the service cannot be used); the client
// deletes the handler inside that call. Then, with the handler gone, the process-wide
// hook set by setUploadFinishedHook() runs: that is where the owner of the queue of
// waiting uploads starts the next one. At most one handler uploads at a time.
#ifndef ULSA_FTP_HANDLER_IMPL_H
#define ULSA_FTP_HANDLER_IMPL_H

#include "SignalNumber2NameApi.h"
#include "SignalSubscriber.h"
#include "ULSAFtpHandler.h"
#include "ULSAProxyRfai.h"

#include <cstddef>
#include <string>

class ULSAFtpHandlerImpl : public SignalSubscriber, public ULSAFtpHandler {
  public:
    /// What runs after an upload's handler has been deleted by its client's ftpDone().
    using UploadFinishedHook = void (*)();

    /// The client name the service is asked with.
    static constexpr const char* clientName = "Osa_ftp_device_scan_procedure";
    /// Longest password the connect request carries.
    static constexpr std::size_t maxPasswordLength = 20;
    static constexpr std::size_t resultTextSize = 128;

    ULSAFtpHandlerImpl();
    ~ULSAFtpHandlerImpl() override;
    ULSAFtpHandlerImpl(const ULSAFtpHandlerImpl&) = delete;
    ULSAFtpHandlerImpl& operator=(const ULSAFtpHandlerImpl&) = delete;

    void setParameters(const std::string& username, const std::string& password,
                       const std::string& ipAddress, const std::string& remotePath,
                       const std::string& localPath) override;
    void start(RftiClientHandler* client) override;
    void handleSignal(union SIGNAL** signal) override;

    /// Sets the hook run after each upload that ends with the service's terminate
    /// confirmation (null: none); returns the one before.
    static UploadFinishedHook setUploadFinishedHook(UploadFinishedHook hook);

  private:
    void initiate();
    void handleResultCfm(union SIGNAL* signal, SIGSELECT sigNo);
    void handleRej(union SIGNAL* signal, SIGSELECT sigNo);
    void handleInitServiceRej(union SIGNAL* signal);
    void terminate();
    void setResultText(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Tells the client; the handler is deleted by the call and must not be touched after.
    static void finish(RftiClientHandler* client, bool ok, const std::string& text);

    ULSAProxyRfai* proxy;
    char resultText[resultTextSize];
    std::string password;
    std::string username;
    std::string ipAddress;
    std::string remotePath;
    std::string localPath;
    SignalNameList subscribedSignals;
    bool success;
    bool terminated;
    RftiClientHandler* client;
    bool subscribed;
};

#endif  // ULSA_FTP_HANDLER_IMPL_H
