#pragma once

#include <QString>

namespace kelvane {

// Where the API keys are kept when the desktop has a keyring.
class SecretStore {
public:
    enum class Result { Ok, NotFound, Unavailable };

    virtual ~SecretStore() = default;
    virtual Result read(const QString& name, QString* value) = 0;
    virtual Result write(const QString& name, const QString& value) = 0;
    virtual Result remove(const QString& name) = 0;
};

// The desktop's keyring (Secret Service or KWallet on Linux, the credential store on Windows), under
// the service name "Kelvane". Each call waits for the keyring's answer.
class KeychainSecretStore : public SecretStore {
public:
    Result read(const QString& name, QString* value) override;
    Result write(const QString& name, const QString& value) override;
    Result remove(const QString& name) override;
};

} // namespace kelvane
