// The upload of one sampling file through the RFAI service.
#include "ULSAFtpHandlerImpl.h"

#include "RftiClientHandler.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "dynTrace.h"
#include "rfaiSignals.h"
#include "traceGroups.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#define FTP_TRACE(level, ...) \
    TRACE_GROUP(traceGroups::ulSpectrumAnalyzerCtrlSwU, (level), __VA_ARGS__)

namespace {

ULSAFtpHandlerImpl::UploadFinishedHook uploadFinishedHook = nullptr;

// The protocol versions asked for, in order of preference.
constexpr uint16_t kPvFirst = rfai::kProtocolVersion;
constexpr uint16_t kPvSecond = 0;
constexpr uint16_t kPvThird = 0;

// What a reply carries, read within its size.
struct Reply {
    bool complete = false;  // the fixed fields lay inside the signal
    uint16_t result = 0;
    uint32_t faultCode = 0;
    std::string additionalInfo;
};

// additionalInfo from offset: up to its NUL, the signal's end or the field's size,
// whichever comes first, and never longer than the field's text.
std::string readAdditionalInfo(const unsigned char* bytes, OSBUFSIZE size, std::size_t offset) {
    if (size <= offset) {
        return std::string();
    }
    std::size_t room = size - offset;
    if (room > rfai::kAdditionalInfoSize - 1) {
        room = rfai::kAdditionalInfoSize - 1;
    }
    const char* text = reinterpret_cast<const char*>(bytes + offset);
    return std::string(text, strnlen(text, room));
}

Reply readResultCfm(union SIGNAL* signal, bool withText) {
    Reply reply;
    const OSBUFSIZE size = sigsize(&signal);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(signal);
    if (size < rfai::ResultCfm::minSize) {
        return reply;
    }
    rfai::ResultCfm head;
    std::memcpy(&head, bytes, sizeof head);
    reply.complete = true;
    reply.result = head.result;
    reply.faultCode = head.faultCode;
    if (withText) {
        reply.additionalInfo =
            readAdditionalInfo(bytes, size, rfai::ResultCfm::additionalInfoOffset);
    }
    return reply;
}

Reply readRej(union SIGNAL* signal) {
    Reply reply;
    const OSBUFSIZE size = sigsize(&signal);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(signal);
    if (size < rfai::Rej::minSize) {
        return reply;
    }
    reply.complete = true;
    std::memcpy(&reply.faultCode, bytes + offsetof(rfai::Rej, faultCode), sizeof reply.faultCode);
    reply.additionalInfo = readAdditionalInfo(bytes, size, rfai::Rej::additionalInfoOffset);
    return reply;
}

const char* signalName(SIGSELECT sigNo) {
    switch (sigNo) {
        case OSA_RFAI_CONNECT_CFM:
            return "OSA_RFAI_CONNECT_CFM";
        case OSA_RFAI_CONNECT_REJ:
            return "OSA_RFAI_CONNECT_REJ";
        case OSA_RFAI_PUT_CFM:
            return "OSA_RFAI_PUT_CFM";
        case OSA_RFAI_PUT_REJ:
            return "OSA_RFAI_PUT_REJ";
        case OSA_RFAI_DISCONN_CFM:
            return "OSA_RFAI_DISCONN_CFM";
        default:
            return "OSA_RFAI_DISCONN_REJ";
    }
}

}  // namespace

ULSAFtpHandlerImpl::ULSAFtpHandlerImpl()
    : proxy(nullptr),
      resultText(),
      subscribedSignals{{OSA_RFAI_INIT_SERVICE_CFM, "OSA_RFAI_INIT_SERVICE_CFM"},
                        {OSA_RFAI_INIT_SERVICE_SUS, "OSA_RFAI_INIT_SERVICE_SUS"},
                        {OSA_RFAI_INIT_SERVICE_REJ, "OSA_RFAI_INIT_SERVICE_REJ"},
                        {OSA_RFAI_SERVER_UP_IND, "OSA_RFAI_SERVER_UP_IND"},
                        {OSA_RFAI_CONNECT_CFM, "OSA_RFAI_CONNECT_CFM"},
                        {OSA_RFAI_CONNECT_REJ, "OSA_RFAI_CONNECT_REJ"},
                        {OSA_RFAI_DISCONN_CFM, "OSA_RFAI_DISCONN_CFM"},
                        {OSA_RFAI_DISCONN_REJ, "OSA_RFAI_DISCONN_REJ"},
                        {OSA_RFAI_PUT_CFM, "OSA_RFAI_PUT_CFM"},
                        {OSA_RFAI_PUT_REJ, "OSA_RFAI_PUT_REJ"},
                        {OSA_RFAI_HUNT_NS_IND, "OSA_RFAI_HUNT_NS_IND"},
                        {OSA_RFAI_UNPUBLISH_IND, "OSA_RFAI_UNPUBLISH_IND"},
                        {OSA_RFAI_SERVER_DOWN_IND, "OSA_RFAI_SERVER_DOWN_IND"},
                        {OSA_RFAI_ATTACH_NS_IND, "OSA_RFAI_ATTACH_NS_IND"},
                        {OSA_RFAI_TERMINATE_SERVICE_CFM, "OSA_RFAI_TERMINATE_SERVICE_CFM"}},
      success(false),
      terminated(false),
      client(nullptr),
      subscribed(false) {
    setResultText("Before initiating the RFA server");
}

ULSAFtpHandlerImpl::~ULSAFtpHandlerImpl() {
    if (proxy != nullptr && !terminated) {
        sendTerminateServiceReq(proxy);
    }
    if (subscribed) {
        for (const SignalName& signal : subscribedSignals) {
            getSignalDistributorAPI()->unsubscribe(signal.first, this);
        }
    }
    if (proxy != nullptr) {
        // Nothing may come back to a handler that no longer is.
        Osa_Rfai_release(proxy);
        Osa_Rfai_deleteProxy(&proxy);
    }
}

ULSAFtpHandlerImpl::UploadFinishedHook ULSAFtpHandlerImpl::setUploadFinishedHook(
    UploadFinishedHook hook) {
    UploadFinishedHook before = uploadFinishedHook;
    uploadFinishedHook = hook;
    return before;
}

void ULSAFtpHandlerImpl::setParameters(const std::string& newUsername,
                                       const std::string& newPassword,
                                       const std::string& newIpAddress,
                                       const std::string& newRemotePath,
                                       const std::string& newLocalPath) {
    FTP_TRACE(2,
              "ULSAFtpHandlerImpl::setParameters(username=%s, ipAddress=%s, remotePath=%s, "
              "localPath=%s)",
              newUsername.c_str(), newIpAddress.c_str(), newRemotePath.c_str(),
              newLocalPath.c_str());
    for (const SignalName& signal : subscribedSignals) {
        if (getSignalDistributorAPI()->subscribe(signal.first, this)) {
            subscribed = true;
        }
    }
    SignalNumber2Name::getInstance()->insertSignalNames(subscribedSignals);
    username = newUsername;
    password = newPassword;
    ipAddress = newIpAddress;
    remotePath = newRemotePath;
    localPath = newLocalPath;
}

void ULSAFtpHandlerImpl::start(RftiClientHandler* newClient) {
    FTP_TRACE(2, "ULSAFtpHandlerImpl::start()");
    client = newClient;
    if (password.empty()) {
        FTP_TRACE(1, "Password is a null pointer");
        return;
    }
    if (password.size() > maxPasswordLength) {
        setResultText("Too long password");
        FTP_TRACE(1, "%s", resultText);
        success = false;
        terminated = true;  // no service was asked for
        RftiClientHandler* const told = client;
        const std::string text = resultText;
        if (told != nullptr) {
            told->init();
        }
        finish(told, false, text);
        return;
    }
    proxy = Osa_Rfai_createProxy();
    setResultText("Before initiating the RFA server");
    initiate();
}

void ULSAFtpHandlerImpl::initiate() {
    Osa_Rfai_initiateService(proxy, clientName, kPvFirst, kPvSecond, kPvThird);
}

void ULSAFtpHandlerImpl::handleSignal(union SIGNAL** signal) {
    SIGSELECT sigNo;
    std::memcpy(&sigNo, *signal, sizeof sigNo);
    if (proxy == nullptr) {
        // Not started, or refused at the start: there is no session to speak of.
        FTP_TRACE(1, "Unexpected signal received. sigNo = %lu", static_cast<unsigned long>(sigNo));
        free_buf(signal);
        return;
    }
    switch (sigNo) {
        case OSA_RFAI_HUNT_NS_IND:
        case OSA_RFAI_SERVER_UP_IND:
            handleProxySignal(proxy, *signal);
            break;
        case OSA_RFAI_ATTACH_NS_IND:
            // The proxy starts the search again itself.
            handleProxySignal(proxy, *signal);
            break;
        case OSA_RFAI_SERVER_DOWN_IND:
        case OSA_RFAI_UNPUBLISH_IND:
            if (proxy->serverPid == 0) {
                // Told of a server that is no longer held: the name server tells every
                // earlier search of the process when that search's provider goes.
                FTP_TRACE(4, "%s without a server: dropped",
                          sigNo == OSA_RFAI_UNPUBLISH_IND ? "OSA_RFAI_UNPUBLISH_IND"
                                                          : "OSA_RFAI_SERVER_DOWN_IND");
                break;
            }
            handleProxySignal(proxy, *signal);
            if (terminated) {
                // The session that was being ended is gone with its server: no
                // confirmation will come, so this is the end of the upload.
                free_buf(signal);
                const bool ok = success;
                const std::string text = resultText;
                finish(client, ok, text);
                if (uploadFinishedHook != nullptr) {
                    uploadFinishedHook();
                }
                return;
            }
            initiate();
            break;
        case OSA_RFAI_INIT_SERVICE_CFM:
            sendConnectIPv6BsaReq(proxy, password.c_str(), username.c_str(), ipAddress.c_str());
            break;
        case OSA_RFAI_INIT_SERVICE_SUS:
            break;  // the service comes later with its confirmation
        case OSA_RFAI_INIT_SERVICE_REJ: {
            handleInitServiceRej(*signal);
            free_buf(signal);
            const bool ok = success;
            const std::string text = resultText;
            finish(client, ok, text);
            return;
        }
        case OSA_RFAI_CONNECT_CFM:
        case OSA_RFAI_PUT_CFM:
        case OSA_RFAI_DISCONN_CFM:
            handleResultCfm(*signal, sigNo);
            break;
        case OSA_RFAI_CONNECT_REJ:
        case OSA_RFAI_PUT_REJ:
            handleRej(*signal, sigNo);
            break;
        case OSA_RFAI_DISCONN_REJ: {
            handleRej(*signal, sigNo);
            free_buf(signal);
            const bool ok = success;
            const std::string text = resultText;
            finish(client, ok, text);
            return;
        }
        case OSA_RFAI_TERMINATE_SERVICE_CFM: {
            if (!terminated) {
                // The answer to the terminate of a handler deleted before its end.
                FTP_TRACE(4, "OSA_RFAI_TERMINATE_SERVICE_CFM not asked for: dropped");
                break;
            }
            handleProxySignal(proxy, *signal);
            free_buf(signal);
            const bool ok = success;
            const std::string text = resultText;
            finish(client, ok, text);
            // The handler is gone: only process-wide state from here on.
            if (uploadFinishedHook != nullptr) {
                uploadFinishedHook();
            }
            return;
        }
        default:
            FTP_TRACE(1, "Unexpected signal received. sigNo = %lu",
                      static_cast<unsigned long>(sigNo));
            break;
    }
    free_buf(signal);
}

void ULSAFtpHandlerImpl::handleResultCfm(union SIGNAL* signal, SIGSELECT sigNo) {
    const Reply reply = readResultCfm(signal, sigNo != OSA_RFAI_DISCONN_CFM);
    if (!reply.complete) {
        FTP_TRACE(1, "%s shorter than its fields (%u bytes)", signalName(sigNo),
                  static_cast<unsigned>(sigsize(&signal)));
    }
    if (reply.result == rfai::kResultSuccess) {
        if (sigNo == OSA_RFAI_CONNECT_CFM) {
            sendPutReq(proxy, localPath.c_str(), remotePath.c_str());
        } else if (sigNo == OSA_RFAI_PUT_CFM) {
            setResultText("Success");
            success = true;
            terminate();
        }
        return;
    }
    if (sigNo == OSA_RFAI_DISCONN_CFM) {
        setResultText("FaultCode = %d", static_cast<int>(reply.faultCode));
        FTP_TRACE(1, "OSA_RFAI_DISCONN_CFM : FaultCode = %s", resultText);
        terminate();
        return;
    }
    if (sigNo == OSA_RFAI_PUT_CFM) {
        setResultText("%s", reply.additionalInfo.c_str());
    } else {
        setResultText("FaultCode = %d (%s)", static_cast<int>(reply.faultCode),
                      reply.additionalInfo.c_str());
    }
    FTP_TRACE(1, "%s : additionalInfo = %s", signalName(sigNo), reply.additionalInfo.c_str());
    terminate();
}

void ULSAFtpHandlerImpl::handleRej(union SIGNAL* signal, SIGSELECT sigNo) {
    const Reply reply = readRej(signal);
    if (!reply.complete) {
        FTP_TRACE(1, "%s shorter than its fields (%u bytes)", signalName(sigNo),
                  static_cast<unsigned>(sigsize(&signal)));
    }
    if (sigNo == OSA_RFAI_PUT_REJ) {
        setResultText("%s", reply.additionalInfo.c_str());
    } else {
        setResultText("FaultCode = %d (%s)", static_cast<int>(reply.faultCode),
                      reply.additionalInfo.c_str());
    }
    FTP_TRACE(1, "%s : additionalInfo = %s", signalName(sigNo), reply.additionalInfo.c_str());
    if (sigNo != OSA_RFAI_DISCONN_REJ) {
        terminate();
    }
}

void ULSAFtpHandlerImpl::handleInitServiceRej(union SIGNAL* signal) {
    rfai::InitServiceRej reject{};
    if (sigsize(&signal) >= rfai::InitServiceRej::minSize) {
        std::memcpy(&reject, signal, sizeof reject);
    }
    setResultText("RFAI service rejected");
    FTP_TRACE(1, "Higest available PV is: %lu", static_cast<unsigned long>(reject.highestPv));
    // The service refused the session: there is nothing to terminate.
    Osa_Rfai_release(proxy);
    terminated = true;
}

void ULSAFtpHandlerImpl::terminate() {
    sendTerminateServiceReq(proxy);
    terminated = true;
}

void ULSAFtpHandlerImpl::setResultText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(resultText, sizeof resultText, format, arguments);
    va_end(arguments);
}

void ULSAFtpHandlerImpl::finish(RftiClientHandler* told, bool ok, const std::string& text) {
    if (told != nullptr) {
        told->ftpDone(ok, text);
    }
}
