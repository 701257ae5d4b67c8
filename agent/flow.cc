// SPDX-License-Identifier: Apache-2.0
#include "agent/flow.h"

#include "agent/fields.h"
#include "agent/text.h"

namespace agent {
namespace {

// Takes ethertype and protocol out of the match where a word says them; empty where none does.
std::string take_shorthand(Match &match) {
  const Shorthand *shorthand = shorthand_of(match);
  if (shorthand == nullptr) {
    return "";
  }
  match[Field::DlType] = {};
  if (shorthand->protocol) {
    match[Field::NwProto] = {};
  }
  return std::string(shorthand->name);
}

}  // namespace

Match normalised(const Match &match) {
  Match result;
  for (const FieldRow &row : field_rows()) {
    const Masked &field = match[row.field];
    if (field.mask != 0 && met(row.needs, match)) {
      result[row.field] = {field.value & field.mask, field.mask};
    }
  }
  return result;
}

bool covers(const Match &outer, const Match &inner) {
  for (size_t i = 0; i < outer.fields.size(); ++i) {
    const Masked &out = outer.fields[i];
    const Masked &in = inner.fields[i];
    if ((in.mask & out.mask) != out.mask || ((in.value ^ out.value) & out.mask) != 0) {
      return false;
    }
  }
  return true;
}

std::string to_text(const Match &match) {
  Match rest = match;
  std::string text = take_shorthand(rest);
  for (const FieldRow &row : field_rows()) {
    if (const Masked &field = rest[row.field]; field.mask != 0) {
      const Spelling &spelling = spelling_in(match, row.field);
      text += concat(text.empty() ? "" : ",", spelling.name, "=", spelling.print(field));
    }
  }
  return text.empty() ? "any" : text;
}

}  // namespace agent
