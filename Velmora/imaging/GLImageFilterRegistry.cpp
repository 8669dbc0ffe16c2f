#include "Velmora/imaging/GLImageFilterRegistry.h"

#include "Velmora/imaging/GLImageFilter.h"
#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {

std::string GLImageFilterRegistry::Setter::typeDescription() const {
    const std::string name = GLImageTypedValue::typeName(type);
    return takesArray ? "[" + name + "]" : name;
}

const GLImageFilterRegistry::Setter* GLImageFilterRegistry::FilterClass::setter(
    std::string_view selector) const {
    for (const Setter& candidate : setters) {
        if (candidate.selector == selector) {
            return &candidate;
        }
    }
    return nullptr;
}

GLImageFilterRegistry::FilterClass GLImageFilterRegistry::uniformFilterClass(
    std::string name, std::string help, int inputCount,
    std::function<std::shared_ptr<GLImageFilter>()> make,
    std::vector<UniformParameter> parameters) {
    FilterClass filterClass;
    filterClass.name = std::move(name);
    filterClass.help = std::move(help);
    filterClass.inputCount = inputCount;
    for (const UniformParameter& parameter : parameters) {
        filterClass.setters.push_back(floatSetter<GLImageFilter>(
            parameter.selector, parameter.help,
            [uniform = parameter.uniform](GLImageFilter& filter, float value) {
                filter.setFloat(value, uniform);
            }));
    }
    filterClass.create = [make = std::move(make), parameters = std::move(parameters)] {
        std::shared_ptr<GLImageFilter> filter = make();
        for (const UniformParameter& parameter : parameters) {
            filter->setFloat(parameter.initial, parameter.uniform);
        }
        return std::static_pointer_cast<GLImageOutput>(filter);
    };
    return filterClass;
}

GLImageFilterRegistry& GLImageFilterRegistry::shared() {
    static NoDestructor<GLImageFilterRegistry> registry;
    return *registry;
}

void GLImageFilterRegistry::add(FilterClass filterClass) {
    auto shared = std::make_shared<const FilterClass>(std::move(filterClass));
    std::lock_guard lock(mutex_);
    classes_.insert_or_assign(shared->name, std::move(shared));
}

std::shared_ptr<const GLImageFilterRegistry::FilterClass> GLImageFilterRegistry::find(
    std::string_view name) const {
    std::lock_guard lock(mutex_);
    const auto found = classes_.find(name);
    return found == classes_.end() ? nullptr : found->second;
}

std::vector<std::shared_ptr<const GLImageFilterRegistry::FilterClass>> GLImageFilterRegistry::all()
    const {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<const FilterClass>> result;
    result.reserve(classes_.size());
    for (const auto& [name, filterClass] : classes_) {
        result.push_back(filterClass);
    }
    return result;
}

}  // namespace velmora
