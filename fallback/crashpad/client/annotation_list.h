#ifndef WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_
#define WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_

namespace crashpad::internal {

// The address of the pointer to the newest annotation. The handler follows it in this process's
// memory; see AnnotationImage for what it finds.
const void* annotation_list_head();

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_
