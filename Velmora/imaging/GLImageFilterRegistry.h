#pragma once
// GLImageFilterRegistry: filter classes by name, for configurations and the tool. Each
// class registers itself where it is defined (a GLImageFilterRegistration at namespace
// scope in its source): how to make one, how many inputs it draws, and its setters by
// selector name ("setIntensity:") with the type of value each takes.
//
// Registrations run while the library loads; a static build must keep the filter sources
// it wants reachable (link the imaging library whole).
//
// Thread safety: add and the lookups may be called from any thread at once.
//
//   const auto* brightness = GLImageFilterRegistry::shared().find("GLImageBrightnessFilter");
//   auto filter = brightness->create();
//   brightness->setter("setBrightness:")->apply(*filter, {GLImageTypedValue::ofFloat(0.2f)});

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/imaging/GLImageTypedValue.h"

namespace velmora {

class GLImageFilter;
class GLImageOutput;

class GLImageFilterRegistry {
  public:
    // One value, or the values of an array argument in order.
    using Arguments = std::vector<GLImageTypedValue>;

    struct Setter {
        std::string selector;
        GLImageTypedValue::Type type = GLImageTypedValue::Type::Float;
        bool takesArray = false;
        std::string help;
        // REQUIRES: filter made by this class's create; arguments of the declared type
        // (one unless takesArray).
        std::function<void(GLImageOutput& filter, const Arguments& arguments)> apply;

        // "float", "CGPoint", "NSString", or "[float]" and so on for arrays.
        std::string typeDescription() const;
    };

    struct FilterClass {
        std::string name;
        std::string help;
        int inputCount = 1;
        // The filter with its default settings; it is also a GLImageInput.
        std::function<std::shared_ptr<GLImageOutput>()> create;
        std::vector<Setter> setters;

        const Setter* setter(std::string_view selector) const;
    };

    // A float uniform of a shader filter, set through a setter.
    struct UniformParameter {
        std::string selector;
        std::string uniform;
        float initial = 0;
        std::string help;
    };
    // A class of shader filters whose settings are float uniforms: make() builds the
    // filter, the uniforms get their initial values, and each has its setter.
    static FilterClass uniformFilterClass(std::string name, std::string help, int inputCount,
                                          std::function<std::shared_ptr<GLImageFilter>()> make,
                                          std::vector<UniformParameter> parameters);

    static GLImageFilterRegistry& shared();

    // A later class of the same name replaces the earlier one.
    void add(FilterClass filterClass);
    // nullptr when no class has that name.
    std::shared_ptr<const FilterClass> find(std::string_view name) const;
    // Every class, by name.
    std::vector<std::shared_ptr<const FilterClass>> all() const;

    // A setter taking one float (or point, or string), calling set on the filter as the
    // class T it was made as.
    template <class T>
    static Setter floatSetter(std::string selector, std::string help,
                              std::function<void(T&, float)> set) {
        return typed<T>(std::move(selector), std::move(help), GLImageTypedValue::Type::Float,
                        [set = std::move(set)](T& filter, const Arguments& arguments) {
                            set(filter, arguments.front().number);
                        });
    }
    template <class T>
    static Setter pointSetter(std::string selector, std::string help,
                              std::function<void(T&, GLPoint)> set) {
        return typed<T>(std::move(selector), std::move(help), GLImageTypedValue::Type::Point,
                        [set = std::move(set)](T& filter, const Arguments& arguments) {
                            set(filter, arguments.front().point);
                        });
    }

    // A setter taking an array of floats (or of points).
    template <class T>
    static Setter floatArraySetter(std::string selector, std::string help,
                                   std::function<void(T&, std::vector<float>)> set) {
        return arraySetter<T, float>(std::move(selector), std::move(help),
                                     GLImageTypedValue::Type::Float, &GLImageTypedValue::number,
                                     std::move(set));
    }
    template <class T>
    static Setter pointArraySetter(std::string selector, std::string help,
                                   std::function<void(T&, std::vector<GLPoint>)> set) {
        return arraySetter<T, GLPoint>(std::move(selector), std::move(help),
                                       GLImageTypedValue::Type::Point, &GLImageTypedValue::point,
                                       std::move(set));
    }

  private:
    template <class T, class Element>
    static Setter arraySetter(std::string selector, std::string help, GLImageTypedValue::Type type,
                              Element GLImageTypedValue::*member,
                              std::function<void(T&, std::vector<Element>)> set) {
        Setter setter =
            typed<T>(std::move(selector), std::move(help), type,
                     [member, set = std::move(set)](T& filter, const Arguments& arguments) {
                         std::vector<Element> elements;
                         elements.reserve(arguments.size());
                         for (const GLImageTypedValue& value : arguments) {
                             elements.push_back(value.*member);
                         }
                         set(filter, std::move(elements));
                     });
        setter.takesArray = true;
        return setter;
    }

    template <class T>
    static Setter typed(std::string selector, std::string help, GLImageTypedValue::Type type,
                        std::function<void(T&, const Arguments&)> set) {
        Setter setter;
        setter.selector = std::move(selector);
        setter.type = type;
        setter.help = std::move(help);
        setter.apply = [set = std::move(set)](GLImageOutput& filter, const Arguments& arguments) {
            set(dynamic_cast<T&>(filter), arguments);
        };
        return setter;
    }

    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<const FilterClass>, std::less<>> classes_;
};

// Registers a class while the library loads: `const GLImageFilterRegistration kX{{...}};`
struct GLImageFilterRegistration {
    explicit GLImageFilterRegistration(GLImageFilterRegistry::FilterClass filterClass) {
        GLImageFilterRegistry::shared().add(std::move(filterClass));
    }
};

}  // namespace velmora
