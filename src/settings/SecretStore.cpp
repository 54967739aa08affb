#include "settings/SecretStore.h"

#include <QEventLoop>
#include <qt6keychain/keychain.h>

namespace kelvane {

namespace {

constexpr const char* kService = "Kelvane";

SecretStore::Result run(QKeychain::Job& job) {
    // Never the file fallback of the library: that is the settings file's job, and it says so.
    job.setInsecureFallback(false);
    job.setAutoDelete(false);
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
    switch (job.error()) {
    case QKeychain::NoError:
        return SecretStore::Result::Ok;
    case QKeychain::EntryNotFound:
        return SecretStore::Result::NotFound;
    default:
        return SecretStore::Result::Unavailable;
    }
}

} // namespace

SecretStore::Result KeychainSecretStore::read(const QString& name, QString* value) {
    QKeychain::ReadPasswordJob job(kService);
    job.setKey(name);
    const Result result = run(job);
    if (result == Result::Ok)
        *value = job.textData();
    return result;
}

SecretStore::Result KeychainSecretStore::write(const QString& name, const QString& value) {
    QKeychain::WritePasswordJob job(kService);
    job.setKey(name);
    job.setTextData(value);
    return run(job);
}

SecretStore::Result KeychainSecretStore::remove(const QString& name) {
    QKeychain::DeletePasswordJob job(kService);
    job.setKey(name);
    return run(job);
}

} // namespace kelvane
