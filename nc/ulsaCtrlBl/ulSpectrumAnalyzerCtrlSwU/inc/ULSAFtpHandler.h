// ULSAFtpHandler: the upload of one sampling file to an FTP server, as the RFTI client
// drives it. Made for one upload and deleted by its client when the upload has ended.
#ifndef ULSA_FTP_HANDLER_H
#define ULSA_FTP_HANDLER_H

#include <string>

class RftiClientHandler;

class ULSAFtpHandler {
  public:
    virtual ~ULSAFtpHandler() = default;

    /// Subscribes the handler's signals and keeps where the file goes and how to log in.
    virtual void setParameters(const std::string& username, const std::string& password,
                               const std::string& ipAddress, const std::string& remotePath,
                               const std::string& localPath) = 0;
    /// Starts the upload; its end is told to client through ftpDone().
    virtual void start(RftiClientHandler* client) = 0;
};

#endif  // ULSA_FTP_HANDLER_H
