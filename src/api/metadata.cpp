#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <string_view>

#include "api/boundary.h"
#include "api/state.h"
#include "backend/annotation_keys.h"
#include "report/fact_annotations.h"
#include "report/store/session_files.h"
#include "report/store/upload_policy.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Runs `change` on the state under the metadata lock. When memory runs out, the change may have
// been made in part.
template <typename Change>
wrenfall_result change_state(Change change) {
  return with_state(WRENFALL_ERROR_FILE, [&](State& state) -> wrenfall_result {
    const std::lock_guard<std::recursive_mutex> lock(state.metadata_lock);
    // A shutdown may have come first while this call waited for the lock.
    return state.is_published() ? change(state) : WRENFALL_ERROR_NOT_INITIALIZED;
  });
}

bool does_nothing(State&) { return false; }

// The same for a change that takes no longer than a few copies. Where the lock is free, which is
// nearly always, the state is not even shared. Where it is not, `without_lock` may do instead: true
// when it did. The host's texts are measured before: a pointer that leads nowhere fails there, and not
// where a shutdown would wait for this call.
template <typename Change, typename WithoutLock = bool (*)(State&)>
wrenfall_result change_facts(Change change, WithoutLock without_lock = does_nothing) {
  return guarded(WRENFALL_ERROR_FILE, [&]() -> wrenfall_result {
    {
      const StateGlimpse glimpse;
      State* const state = glimpse.get();
      if (state == nullptr) return WRENFALL_ERROR_NOT_INITIALIZED;
      const std::unique_lock<std::recursive_mutex> lock(state->metadata_lock, std::try_to_lock);
      if (lock.owns_lock()) return change(*state);
      if (without_lock(*state)) return WRENFALL_OK;
    }
    return change_state(change);
  });
}

template <std::string CrashData::*field>
wrenfall_result set_fact(const char* value) {
  static constexpr const char* kKey = annotation_key(field);
  static_assert(kKey != nullptr, "the fact has no annotation");
  const std::string_view text = value == nullptr ? "" : value;
  return change_facts([=](State& state) -> wrenfall_result {
    std::string& fact = state.facts.*field;
    fact = text;
    state.backend->set_annotation(kKey, fact);
    return WRENFALL_OK;
  });
}

wrenfall_result remove_attribute(State& state, const std::string& name) {
  // Made first: when memory runs out, nothing has changed.
  const std::string key = annotation::kAttributePrefix + name;
  state.attributes.erase(name);
  state.facts.attributes.erase(name);
  state.backend->set_annotation(key, "");
  return WRENFALL_OK;
}

// Null when there are as many as there may be.
State::Attribute* find_or_add_attribute(State& state, std::string_view name) {
  state.attribute_name = name;
  const auto known = state.attributes.find(state.attribute_name);
  if (known != state.attributes.end()) return &known->second;
  auto& facts = state.facts.attributes;
  auto held = facts.find(state.attribute_name);
  if (held == facts.end()) {
    if (facts.size() >= kMaxAttributes) return nullptr;
    held = facts.emplace(state.attribute_name, "").first;
  }
  return &state.attributes
              .emplace(state.attribute_name,
                       State::Attribute{&held->second, annotation::kAttributePrefix + held->first,
                                        AnnotationPlace{}})
              .first->second;
}

// Before init the result is WRENFALL_ERROR_NOT_INITIALIZED, whatever the arguments are.
wrenfall_result invalid_argument() {
  return peek_state() == nullptr ? WRENFALL_ERROR_NOT_INITIALIZED : WRENFALL_ERROR_INVALID_ARGUMENT;
}

wrenfall_result rewrite_session(State& state) {
  return state.update_session() ? WRENFALL_OK : WRENFALL_ERROR_FILE;
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_set_key(const char* value) { return set_fact<&CrashData::key>(value); }
wrenfall_result wrenfall_set_user(const char* value) { return set_fact<&CrashData::user>(value); }
wrenfall_result wrenfall_set_email(const char* value) { return set_fact<&CrashData::email>(value); }
wrenfall_result wrenfall_set_user_description(const char* value) {
  return set_fact<&CrashData::userDescription>(value);
}
wrenfall_result wrenfall_set_notes(const char* value) { return set_fact<&CrashData::notes>(value); }

wrenfall_result wrenfall_set_environment(const char* value) {
  const std::string_view text = value == nullptr ? "" : value;
  return change_facts([=](State& state) -> wrenfall_result {
    std::string& environment = state.facts.environment;
    environment = text.empty() ? std::string_view(state.platform_description) : text;
    state.environment.set(environment);
    state.backend->set_annotation(annotation::kEnvironment, environment);
    return WRENFALL_OK;
  });
}

wrenfall_result wrenfall_set_attribute(const char* name, const char* value) {
  if (is_empty(name)) return invalid_argument();
  const std::string_view name_text = name;
  const std::string_view text = value == nullptr ? "" : value;
  const bool removes = value == nullptr;
  const auto change = [=](State& state) -> wrenfall_result {
    if (removes) return remove_attribute(state, std::string(name_text));
    State::Attribute* const attribute = find_or_add_attribute(state, name_text);
    if (attribute == nullptr) return WRENFALL_ERROR_LIMIT_REACHED;
    *attribute->value = text;
    state.backend->set_annotation_at(attribute->key, *attribute->value, attribute->place);
    return WRENFALL_OK;
  };
  // The process is about to end, and a post in another thread may keep the lock for minutes. No other
  // report needs the text.
  const auto tell_the_dump_alone = [=](State& state) {
    if (removes || name_text != annotation::kWhatAttribute) return false;
    state.backend->set_annotation(annotation::kAttributePrefix + std::string(name_text),
                                  std::string(text));
    return true;
  };
  return change_facts(change, tell_the_dump_alone);
}

void wrenfall_set_quiet_mode(int flag) {
  change_facts([=](State& state) -> wrenfall_result {
    const uint32_t at_start = state.configuration.upload_policy;
    // With quiet mode off, host-made reports carry the policy given at start. So do captured
    // reports, unless that policy was quiet: then the reporter asks the user.
    state.facts.uploadPolicy = flag != 0 ? kPolicyQuiet : upload_policy_text(at_start);
    const char* const captured = flag != 0                            ? kPolicyQuiet
                                 : at_start == WRENFALL_UPLOAD_MANUAL ? kPolicyManual
                                                                      : kPolicyDialog;
    state.backend->set_annotation(annotation::kPolicy, captured);
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
