#include "details/gui/TDetailFormFactory.h"

#include "details/gui/TDetailForms.h"
#include "settings/TSysmonEventData.h"
#include "store/EventCatalogue.h"
#include "toolkit/TNodeDiagram.h"
#include "toolkit/WindowPlacement.h"

#include <memory>
#include <stdexcept>
#include <string_view>

namespace kelvane {

namespace {

using namespace ui;

using Maker = TEventDetailForm* (*)(QWidget*);

template <class Form> TEventDetailForm* make(QWidget* owner) {
    return new Form(owner);
}

struct FormClass {
    std::string_view name;
    Maker make;
};

constexpr FormClass kClasses[] = {
    {"TProcessCreateForm", &make<TProcessCreateForm>},
    {"TFileCreationTimeChangedForm", &make<TFileCreationTimeChangedForm>},
    {"TFormNetworkConnectionDetected", &make<TFormNetworkConnectionDetected>},
    {"TProcessTerminatedForm", &make<TProcessTerminatedForm>},
    {"TDriverLoadedForm", &make<TDriverLoadedForm>},
    {"TImageLoadedForm", &make<TImageLoadedForm>},
    {"TCreateRemoteThreadDetectedForm", &make<TCreateRemoteThreadDetectedForm>},
    {"TRawAccessReadDetectedForm", &make<TRawAccessReadDetectedForm>},
    {"TProcessAccessedForm", &make<TProcessAccessedForm>},
    {"TFileCreatedForm", &make<TFileCreatedForm>},
    {"TRegistryObjectAddedOrDeletedForm", &make<TRegistryObjectAddedOrDeletedForm>},
    {"TRegistryValueSetForm", &make<TRegistryValueSetForm>},
    {"TRegistryObjectRenamedForm", &make<TRegistryObjectRenamedForm>},
    {"TFileStreamCreatedForm", &make<TFileStreamCreatedForm>},
    {"TPipeConnectedForm", &make<TPipeConnectedForm>},
    {"TWMIFilterForm", &make<TWMIFilterForm>},
    {"TWMIConsumerForm", &make<TWMIConsumerForm>},
    {"TWMIBindingForm", &make<TWMIBindingForm>},
    {"TDNSQueryForm", &make<TDNSQueryForm>},
};

// The diagrams have no branch for WMI activity.
bool diagramsOpen(int eventType) {
    return eventType < 19 || eventType > 21;
}

// The later types' sheets have no class of their own: the shared frame over the layout the catalogue
// gives them.
std::unique_ptr<TEventDetailForm> makeForm(QWidget* owner, const EventTypeInfo& type) {
    for (const FormClass& formClass : kClasses)
        if (formClass.name == type.detailForm)
            return std::unique_ptr<TEventDetailForm>(formClass.make(owner));
    if (const DetailFormLayout* layout = detailforms::layout(type.detailForm))
        return std::make_unique<TEventDetailForm>(*layout, owner);
    return nullptr;
}

QWidget* openForm(QWidget* owner, TMainDataModule& data, const EventTypeInfo& type, qint64 gid) {
    std::unique_ptr<TEventDetailForm> form = makeForm(owner, type);
    if (!form)
        return nullptr;
    form->setDataModule(data);
    form->SetQueryParams(QString::fromLatin1(type.table), gid);
    centreOn(form.get(), owner);
    form->show();
    return form.release(); // owned by `owner` from here on, or by itself when it closes
}

} // namespace

QWidget* openDetailFormByType(QWidget* owner, TMainDataModule& data, int eventType, qint64 gid) {
    const EventTypeInfo* type = catalogue::find(eventType);
    if (!type || !diagramsOpen(eventType))
        return nullptr;
    return openForm(owner, data, *type, gid);
}

QWidget* openDetailFormByTable(QWidget* owner, TMainDataModule& data, const QString& table, qint64 gid) {
    const EventTypeInfo* type = catalogue::findByTable(table.toStdString());
    return type ? openForm(owner, data, *type, gid) : nullptr;
}

QWidget* openDetailFormOfSelection(QWidget* owner, TMainDataModule& data, const ui::TNodeDiagram& diagram) {
    const ui::TDiagramNode* node = diagram.selectedNode();
    if (!node)
        throw std::runtime_error("Access violation: no node is selected");
    const auto* record = node->recordAs<TSysmonEventData>();
    return record ? openDetailFormByType(owner, data, record->EventType, record->GID) : nullptr;
}

} // namespace kelvane
