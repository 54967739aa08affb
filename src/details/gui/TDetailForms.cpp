#include "details/gui/TDetailForms.h"

#include <stdexcept>
#include <string>

namespace kelvane::ui {

const DetailFormLayout& detailFormLayout(const char* className) {
    const DetailFormLayout* layout = detailforms::layout(className);
    if (!layout)
        throw std::logic_error(std::string("No layout for the form ") + className);
    return *layout;
}

} // namespace kelvane::ui
