#pragma once
// VLJsonProxy: an ability an Object may add so that the JSON writer can write it. The
// writer writes the proxy Value in the object's place (a dictionary, usually).
//
// Thread safety: proxyForJson may be called on any thread that writes the object.
//
//   class Task : public Object, public VLJsonProxy {
//       Value proxyForJson() const override { return Dictionary{{"title", title_}}; }
//   };

namespace velmora {

class Value;

class VLJsonProxy {
  public:
    virtual ~VLJsonProxy() = default;
    // REQUIRES: does not return the object itself (directly or through other proxies).
    virtual Value proxyForJson() const = 0;

  protected:
    VLJsonProxy() = default;
    VLJsonProxy(const VLJsonProxy&) = default;
    VLJsonProxy& operator=(const VLJsonProxy&) = default;
};

}  // namespace velmora
