#ifndef WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_
#define WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_

namespace crashpad::internal {

// The address of the pointer to the newest annotation. From there the handler reads the list in this
// process's memory; AnnotationImage describes an entry.
const void* annotation_list_head();

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_ANNOTATION_LIST_H_
