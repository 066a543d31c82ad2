#include <wrenfall/wrenfall.h>

#include <algorithm>

#include "api/boundary.h"
#include "api/state.h"
#include "backend/annotation_keys.h"
#include "backend/startup_annotations.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Runs `change` on the state, with the metadata lock held. Without memory for the change nothing,
// or not all of it, has happened.
template <typename Change>
wrenfall_result change_state(Change change) {
  return guarded(WRENFALL_ERROR_FILE, [&]() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    const std::lock_guard<std::recursive_mutex> lock(state->metadata_lock);
    // A shutdown may have come first while this call waited for the lock.
    if (state->is_session_closed()) return WRENFALL_ERROR_NOT_INITIALIZED;
    return change(*state);
  });
}

wrenfall_result set_fact(std::string ReportFacts::*field, const char* key, const char* value) {
  return change_state([=](State& state) -> wrenfall_result {
    std::string& fact = state.facts.*field;
    fact = value == nullptr ? "" : value;
    state.backend->set_annotation(key, fact);
    return WRENFALL_OK;
  });
}

bool is_empty(const char* text) { return text == nullptr || *text == '\0'; }

// An argument that is wrong is told only by a library that is initialized.
wrenfall_result invalid_argument() {
  return peek_state() == nullptr ? WRENFALL_ERROR_NOT_INITIALIZED : WRENFALL_ERROR_INVALID_ARGUMENT;
}

wrenfall_result rewrite_session(State& state) {
  return state.update_session() ? WRENFALL_OK : WRENFALL_ERROR_FILE;
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_set_key(const char* value) {
  return set_fact(&ReportFacts::key, annotation::kKey, value);
}
wrenfall_result wrenfall_set_user(const char* value) {
  return set_fact(&ReportFacts::user, annotation::kUser, value);
}
wrenfall_result wrenfall_set_email(const char* value) {
  return set_fact(&ReportFacts::email, annotation::kEmail, value);
}
wrenfall_result wrenfall_set_user_description(const char* value) {
  return set_fact(&ReportFacts::user_description, annotation::kDescription, value);
}
wrenfall_result wrenfall_set_notes(const char* value) {
  return set_fact(&ReportFacts::notes, annotation::kNotes, value);
}

wrenfall_result wrenfall_set_environment(const char* value) {
  return change_state([=](State& state) -> wrenfall_result {
    state.set_environment(is_empty(value) ? state.platform_description : value);
    state.backend->set_annotation(annotation::kEnvironment, state.facts.environment);
    return WRENFALL_OK;
  });
}

wrenfall_result wrenfall_set_attribute(const char* name, const char* value) {
  if (is_empty(name)) return invalid_argument();
  return change_state([=](State& state) -> wrenfall_result {
    auto& attributes = state.facts.attributes;
    state.attribute_name = name;
    state.attribute_key.assign(annotation::kAttributePrefix).append(name);
    auto held = attributes.find(state.attribute_name);
    if (value == nullptr) {
      if (held != attributes.end()) attributes.erase(held);
      state.backend->set_annotation(state.attribute_key, "");
      return WRENFALL_OK;
    }
    if (held == attributes.end()) {
      if (attributes.size() >= kMaxAttributes) return WRENFALL_ERROR_LIMIT_REACHED;
      held = attributes.emplace(state.attribute_name, "").first;
    }
    held->second = value;
    state.backend->set_annotation(state.attribute_key, held->second);
    return WRENFALL_OK;
  });
}

void wrenfall_set_quiet_mode(int flag) {
  change_state([=](State& state) -> wrenfall_result {
    state.facts.quiet = flag != 0;
    // A library that was started quiet and is told to be so no longer asks the user.
    const uint32_t policy = state.facts.quiet ? uint32_t{WRENFALL_UPLOAD_QUIET}
                            : state.facts.upload_policy == WRENFALL_UPLOAD_MANUAL
                                ? uint32_t{WRENFALL_UPLOAD_MANUAL}
                                : uint32_t{WRENFALL_UPLOAD_DIALOG};
    state.backend->set_annotation(annotation::kPolicy, upload_policy_text(policy));
    return WRENFALL_OK;
  });
}

wrenfall_result wrenfall_add_attachment(const char* path) {
  if (is_empty(path)) return invalid_argument();
  return change_state([=](State& state) -> wrenfall_result {
    auto& paths = state.attachments;
    if (std::find(paths.begin(), paths.end(), path) != paths.end()) return WRENFALL_OK;
    if (paths.size() >= kMaxAttachments) return WRENFALL_ERROR_LIMIT_REACHED;
    paths.emplace_back(path);
    return rewrite_session(state);
  });
}

wrenfall_result wrenfall_remove_attachment(const char* path) {
  if (path == nullptr) return invalid_argument();
  return change_state([=](State& state) -> wrenfall_result {
    auto& paths = state.attachments;
    paths.erase(std::remove(paths.begin(), paths.end(), path), paths.end());
    return rewrite_session(state);
  });
}
