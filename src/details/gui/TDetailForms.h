#pragma once

#include "details/gui/TEventDetailForm.h"

namespace kelvane::ui {

// The layout of the form of that class name; throws std::logic_error for a name without one.
const DetailFormLayout& detailFormLayout(const char* className);

// One class per detail form, so that each keeps its own name; all of them are TEventDetailForm
// over their own layout. TPipeConnectedForm serves both pipe tables: the table name sets its title.

class TProcessCreateForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TProcessCreateForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TProcessCreateForm"), owner) {}
    void cxDBVerticalGridProcessCreateMD5EditPropertiesStartClick() { hashRowClick("MD5"); }
    void cxDBVerticalGridProcessCreateSHA1EditPropertiesStartClick() { hashRowClick("SHA1"); }
    void cxDBVerticalGridProcessCreateSHA256EditPropertiesStartClick() { hashRowClick("SHA256"); }
};

class TFileCreationTimeChangedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TFileCreationTimeChangedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TFileCreationTimeChangedForm"), owner) {}
};

class TFormNetworkConnectionDetected : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TFormNetworkConnectionDetected(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TFormNetworkConnectionDetected"), owner) {}
    void SourceIPClick() { ipRowClick("SourceIp"); }
    void DestinationIPClick() { ipRowClick("DestinationIp"); }
    void SourceDomainClick() { domainRowClick("SourceHostname"); }
    void DestinationDomainClick() { domainRowClick("DestinationHostname"); }
};

class TProcessTerminatedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TProcessTerminatedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TProcessTerminatedForm"), owner) {}
};

class TDriverLoadedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TDriverLoadedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TDriverLoadedForm"), owner) {}
    void cxDBVerticalGridDriverLoadedChangedMD5EditPropertiesStartClick() { hashRowClick("MD5"); }
    void cxDBVerticalGridDriverLoadedSHA1EditPropertiesStartClick() { hashRowClick("SHA1"); }
    void cxDBVerticalGridDriverLoadedSHA256EditPropertiesStartClick() { hashRowClick("SHA256"); }
};

class TImageLoadedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TImageLoadedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TImageLoadedForm"), owner) {}
    void cxDBVerticalGridImageLoadedMD5EditPropertiesStartClick() { hashRowClick("MD5"); }
    void cxDBVerticalGridImageLoadedSHA1EditPropertiesStartClick() { hashRowClick("SHA1"); }
    void cxDBVerticalGridImageLoadedSHA256EditPropertiesStartClick() { hashRowClick("SHA256"); }
};

class TCreateRemoteThreadDetectedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TCreateRemoteThreadDetectedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TCreateRemoteThreadDetectedForm"), owner) {}
};

class TRawAccessReadDetectedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TRawAccessReadDetectedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TRawAccessReadDetectedForm"), owner) {}
};

class TProcessAccessedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TProcessAccessedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TProcessAccessedForm"), owner) {}
};

class TFileCreatedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TFileCreatedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TFileCreatedForm"), owner) {}
};

class TRegistryObjectAddedOrDeletedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TRegistryObjectAddedOrDeletedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TRegistryObjectAddedOrDeletedForm"), owner) {}
};

class TRegistryValueSetForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TRegistryValueSetForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TRegistryValueSetForm"), owner) {}
};

class TRegistryObjectRenamedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TRegistryObjectRenamedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TRegistryObjectRenamedForm"), owner) {}
};

class TFileStreamCreatedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TFileStreamCreatedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TFileStreamCreatedForm"), owner) {}
    void cxDBVerticalGridFileStreamCreatedMD5EditPropertiesStartClick() { hashRowClick("MD5"); }
    void cxDBVerticalGridFileStreamCreatedSHA1EditPropertiesStartClick() { hashRowClick("SHA1"); }
    void cxDBVerticalGridFileStreamCreatedSHA256EditPropertiesStartClick() { hashRowClick("SHA256"); }
};

class TPipeConnectedForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TPipeConnectedForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TPipeConnectedForm"), owner) {}
};

class TWMIFilterForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TWMIFilterForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TWMIFilterForm"), owner) {}
};

class TWMIConsumerForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TWMIConsumerForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TWMIConsumerForm"), owner) {}
};

class TWMIBindingForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TWMIBindingForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TWMIBindingForm"), owner) {}
};

class TDNSQueryForm : public TEventDetailForm {
    Q_OBJECT
public:
    explicit TDNSQueryForm(QWidget* owner = nullptr)
        : TEventDetailForm(detailFormLayout("TDNSQueryForm"), owner) {}
};

} // namespace kelvane::ui
