// Services: reference-counted interfaces, the list on which a module registers its own, and the look-ups.
//
// Every module (the plug-in, and the host itself) has one singly linked list of factory nodes. A node stands in
// static storage at the bottom of the source of what it registers and pushes itself at load; nothing else runs then.
// What a module looks for, its own services included, it finds only through the host's enumerator.
#pragma once

#include "frame/guid.h"

#include <atomic>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

namespace zelmora {

class service_base;

/// Owning pointer to a service: copying adds a reference, destruction releases it.
template <class T>
class service_ptr_t {
 public:
  service_ptr_t() noexcept = default;
  service_ptr_t(std::nullptr_t) noexcept {}
  service_ptr_t(T* object) noexcept : object_(object) { add(); }
  service_ptr_t(const service_ptr_t& other) noexcept : object_(other.object_) { add(); }
  service_ptr_t(service_ptr_t&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires(!std::same_as<U, T> && std::convertible_to<U*, T*>) service_ptr_t(const service_ptr_t<U>& other)
  noexcept : object_(other.get()) { add(); }
  ~service_ptr_t() { drop(); }

  /// Takes the new reference before the old one goes, so that self-assignment and owned sub-objects are safe.
  service_ptr_t& operator=(service_ptr_t other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  void release() noexcept { service_ptr_t().swap(*this); }
  void swap(service_ptr_t& other) noexcept { std::swap(object_, other.object_); }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  friend bool operator==(const service_ptr_t& a, const service_ptr_t& b) noexcept { return a.object_ == b.object_; }

 private:
  void add() noexcept {
    if (object_ != nullptr) object_->service_add_ref();
  }
  void drop() noexcept {
    if (object_ != nullptr) object_->service_release();
  }

  T* object_ = nullptr;
};

/// Root of every interface. An interface `I` over `B` declares
///   using interface_type = I; using interface_parent = B; static constexpr guid class_guid = "..."_guid;
class service_base {
 public:
  using interface_type = service_base;
  using interface_parent = void;
  static constexpr guid class_guid = "A1E7D0C4-53F0-4C0B-9D0E-6B1F2C3A4D55"_guid;

  /// Both return the new count; the singletons of entries always answer 1.
  virtual int service_add_ref() noexcept = 0;
  virtual int service_release() noexcept = 0;
  /// Compares `id` with the interface's own GUID and those of its bases; on a match stores itself in `out`.
  /// No match returns false and leaves `out` alone.
  virtual bool service_query(service_ptr_t<service_base>& out, const guid& id) = 0;

  service_base(const service_base&) = delete;
  service_base& operator=(const service_base&) = delete;

 protected:
  service_base() = default;
  virtual ~service_base() = default;
};

namespace detail {
/// Whether `id` names `Interface` or one of the interfaces that it revises.
template <class Interface>
bool interface_matches(const guid& id) {
  if constexpr (std::is_void_v<Interface>)
    return false;
  else
    return id == Interface::class_guid || interface_matches<typename Interface::interface_parent>(id);
}
} // namespace detail

/// `T` with a reference count of its own: what `service_new` makes.
template <class T>
class service_impl_t final : public T {
 public:
  using T::T;
  int service_add_ref() noexcept override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
  int service_release() noexcept override {
    const int left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }
  bool service_query(service_ptr_t<service_base>& out, const guid& id) override {
    if (!detail::interface_matches<typename T::interface_type>(id)) return false;
    out = service_ptr_t<service_base>(this);
    return true;
  }

 private:
  std::atomic<int> references_{0};
};

/// `T` in static storage: counting does nothing.
template <class T>
class service_impl_single_t final : public T {
 public:
  using T::T;
  int service_add_ref() noexcept override { return 1; }
  int service_release() noexcept override { return 1; }
  bool service_query(service_ptr_t<service_base>& out, const guid& id) override {
    if (!detail::interface_matches<typename T::interface_type>(id)) return false;
    out = service_ptr_t<service_base>(this);
    return true;
  }
};

/// Makes a counted object; the pointer returned is its first owner.
template <class T, class... Arguments>
service_ptr_t<T> service_new(Arguments&&... arguments) {
  return service_ptr_t<T>(new service_impl_t<T>(std::forward<Arguments>(arguments)...));
}

/// One registered service. Static storage, never freed; the constructor pushes the node at the head of its module's
/// list, so a list runs from the last registered to the first.
class service_factory_node {
 public:
  explicit service_factory_node(const guid& class_id) noexcept;
  service_factory_node(const service_factory_node&) = delete;
  service_factory_node& operator=(const service_factory_node&) = delete;

  /// The service: the embedded singleton, or a fresh object for classes that carry state per use.
  virtual service_ptr_t<service_base> instance_create() = 0;

  service_factory_node* next;
  const guid* class_guid;

 protected:
  ~service_factory_node() = default;
};

/// Head of this module's list; null before static initialisation.
service_factory_node* service_list_head() noexcept;

/// Factory and singleton in one, for stateless entries. `Class` is the interface under which the service is enumerated;
/// an entry that offers a later revision of it names the first one.
template <class T, class Class = typename T::interface_type>
class service_factory_single_t final : public service_factory_node {
 public:
  template <class... Arguments>
  explicit service_factory_single_t(Arguments&&... arguments)
      : service_factory_node(Class::class_guid), instance_(std::forward<Arguments>(arguments)...) {}
  service_ptr_t<service_base> instance_create() override { return service_ptr_t<service_base>(&instance_); }
  T& get() noexcept { return instance_; }

 private:
  service_impl_single_t<T> instance_;
};

/// Factory of objects that carry state.
template <class T>
class service_factory_t final : public service_factory_node {
 public:
  service_factory_t() : service_factory_node(T::interface_type::class_guid) {}
  service_ptr_t<service_base> instance_create() override { return service_new<T>(); }
};

/// The host's walk over all services of one class.
class service_enumerator : public service_base {
 public:
  using interface_type = service_enumerator;
  using interface_parent = service_base;
  static constexpr guid class_guid = "0C6C1A44-8E0D-4F5C-9A35-5C0C2A7B1E01"_guid;

  /// False when there are no more.
  virtual bool next(service_ptr_t<service_base>& out) = 0;
};

/// What the host hands to a module: access to every service of the host and of all modules.
class zelmora_services {
 public:
  virtual service_ptr_t<service_enumerator> enumerate(const guid& class_id) = 0;

 protected:
  ~zelmora_services() = default;
};

/// Stores the host's access object for this module; null detaches it.
void set_services(zelmora_services* services) noexcept;
/// The host's access object. A call before the module is attached is a bug check.
zelmora_services& services();

/// Hands every service of class `T` to `visit`, in the host's order, for as long as that answers true.
template <class T, class Visit>
void for_each_service(Visit visit) {
  const auto walk = services().enumerate(T::class_guid);
  for (service_ptr_t<service_base> item; walk->next(item);)
    if (!visit(service_ptr_t<T>(static_cast<T*>(item.get())))) return;
}

/// All services of class `T`, in the host's order.
template <class T>
std::vector<service_ptr_t<T>> enumerate_services() {
  std::vector<service_ptr_t<T>> result;
  for_each_service<T>([&](service_ptr_t<T> service) {
    result.push_back(std::move(service));
    return true;
  });
  return result;
}

namespace detail {
[[noreturn]] void raise_service_not_found();
[[noreturn]] void raise_service_duplicated();
[[noreturn]] void raise_service_extension_not_found();
} // namespace detail

/// The one service of class `T`. Raises `exception_service_not_found`, `exception_service_duplicated`.
template <class T>
service_ptr_t<T> service_single() {
  auto all = enumerate_services<T>();
  if (all.empty()) detail::raise_service_not_found();
  if (all.size() > 1) detail::raise_service_duplicated();
  return std::move(all.front());
}

/// `object` as the later revision `T` of its interface, or null.
template <class T>
service_ptr_t<T> service_cast(service_base* object) {
  service_ptr_t<service_base> out;
  if (object == nullptr || !object->service_query(out, T::class_guid)) return nullptr;
  return service_ptr_t<T>(static_cast<T*>(out.get()));
}

/// As `service_cast`, raising `exception_service_extension_not_found`.
template <class T>
service_ptr_t<T> service_extension(service_base* object) {
  auto result = service_cast<T>(object);
  if (!result) detail::raise_service_extension_not_found();
  return result;
}

} // namespace zelmora
