#include <client/annotation.h>

#include <algorithm>

#include "client/annotation_list.h"
#include "common/client_protocol.h"

namespace crashpad {
namespace {

// The end of the list. Thanks to it, a null link means "not in the list" for every other annotation.
// Both are constant-initialised, because annotations of other translation units may be set before the
// dynamic initialisation of this one.
Annotation g_list_end(Annotation::Type::kInvalid, "", nullptr);
std::atomic<Annotation*> g_newest{&g_list_end};

}  // namespace

namespace internal {

// The handler reads annotations as AnnotationImage, so the two must agree.
struct AnnotationLayout {
  static_assert(sizeof(Annotation) == sizeof(AnnotationImage));
  static_assert(offsetof(Annotation, link_) == offsetof(AnnotationImage, link));
  static_assert(offsetof(Annotation, name_) == offsetof(AnnotationImage, name));
  static_assert(offsetof(Annotation, value_ptr_) == offsetof(AnnotationImage, value));
  static_assert(offsetof(Annotation, size_) == offsetof(AnnotationImage, size));
  static_assert(offsetof(Annotation, type_) == offsetof(AnnotationImage, type));
  static_assert(Annotation::kNameMaxLength == kAnnotationNameBytes);
  static_assert(Annotation::kValueMaxSize == kAnnotationMaxValueBytes);
};

const void* annotation_list_head() { return &g_newest; }

}  // namespace internal

void Annotation::SetSize(uint32_t size) {
  size_.store(std::min(size, static_cast<uint32_t>(kValueMaxSize)), std::memory_order_release);
  AddToList();
}

void Annotation::AddToList() {
  if (link_.load(std::memory_order_acquire) != nullptr) return;

  // Of several concurrent first calls, the one that sets the link adds the object to the list.
  Annotation* newest = g_newest.load(std::memory_order_acquire);
  Annotation* unlinked = nullptr;
  if (!link_.compare_exchange_strong(unlinked, newest, std::memory_order_acq_rel)) return;
  while (!g_newest.compare_exchange_weak(newest, this, std::memory_order_acq_rel)) {
    link_.store(newest, std::memory_order_release);
  }
}

}  // namespace crashpad
