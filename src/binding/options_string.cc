#include "binding/options_string.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binding/script_util.h"

namespace zvdbms {

using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

enum { MESSAGE_BUF = 160, FIELD_MAX = 63, HOST_MAX = 31, MS_MAX = 2147483647 };

// The text options, in the order they are read, with what their value may hold. Each value
// must stay one value of one item: the string is cut into items at ";" (or ","), an item
// holding "IPS=" becomes a server list, and the parser trims blanks and drops what does not fit
// its field. The login quotes user, password and char_set with "'", and leaves the database bare.
struct TextOption {
  const char* key;
  int max_len;
  bool quoted_at_login;  // may not hold "'"
  bool bare_at_login;    // may hold neither "'" nor a blank
};

static const TextOption kHost = {"host", HOST_MAX, false, false};
static const TextOption kPort = {"port", FIELD_MAX, false, false};
static const TextOption kUser = {"user", FIELD_MAX, true, false};
static const TextOption kPassword = {"password", FIELD_MAX, true, false};
static const TextOption kDatabase = {"database", FIELD_MAX, false, true};
static const TextOption kCharSet = {"char_set", FIELD_MAX, true, false};

static const char kControlReason[] = "it may not contain control characters";

static bool has_control(const char* text) {
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p)
    if (*p < 0x20 || *p == 0x7f) return true;
  return false;
}

// Why the value would change the string's meaning, or null when it is safe.
static const char* refusal(const TextOption& opt, const char* value) {
  size_t len = strlen(value);
  if (strpbrk(value, ";,")) return "it may not contain \";\" or \",\"";
  if (has_control(value)) return kControlReason;
  if (len > 0 && (value[0] == ' ' || value[len - 1] == ' ')) return "it may not begin or end with a blank";
  if (strcasestr(value, "IPS=")) return "it may not contain \"IPS=\"";
  if ((opt.quoted_at_login || opt.bare_at_login) && strchr(value, '\'')) return "it may not contain \"'\"";
  if (opt.bare_at_login && strchr(value, ' ')) return "it may not contain a blank";
  if (len > static_cast<size_t>(opt.max_len))
    return opt.max_len == HOST_MAX ? "it may have 31 bytes at most" : "it may have 63 bytes at most";
  return nullptr;
}

static void throw_invalid(Isolate* isolate, const char* key, const char* reason) {
  char message[MESSAGE_BUF];
  snprintf(message, sizeof message, "Invalid value for option \"%s\": %s", key, reason);
  throw_type_error(isolate, message);
}

// False when a getter of the option threw: its exception stands and the reading ends there.
static bool option(Isolate* isolate, Local<Object> options, const char* key, Local<Value>* value) {
  return options->Get(isolate->GetCurrentContext(), utf8(isolate, key)).ToLocal(value);
}

// A copy of a string value, or null after a refusal, with the TypeError thrown. A NUL inside the
// value would cut it short, so it counts as a control character.
static char* checked_copy(Isolate* isolate, const TextOption& opt, Local<Value> value) {
  v8::String::Utf8Value text(isolate, value);
  const char* bytes = *text ? *text : "";
  bool has_nul = *text && memchr(bytes, '\0', text.length()) != nullptr;
  const char* reason = has_nul ? kControlReason : refusal(opt, bytes);
  if (reason == nullptr) return strdup(bytes);
  throw_invalid(isolate, opt.key, reason);
  return nullptr;
}

// Only strings count: null, numbers and every other type give the empty text.
static char* option_text(Isolate* isolate, Local<Object> options, const TextOption& opt) {
  Local<Value> value;
  if (!option(isolate, options, opt.key, &value)) return nullptr;
  return value->IsString() ? checked_copy(isolate, opt, value) : strdup("");
}

// An absent port is the server's default; a number prints as "%g" (so 5138.0 gives "5138");
// any other type gives no port text, and the open then fails at the socket.
static char* port_text(Isolate* isolate, Local<Object> options) {
  Local<Value> value;
  if (!option(isolate, options, kPort.key, &value)) return nullptr;
  if (value->IsUndefined()) return strdup("5138");
  if (value->IsString()) return checked_copy(isolate, kPort, value);
  if (!value->IsNumber()) return strdup("");
  char field[32];
  snprintf(field, sizeof field, "%g", value.As<v8::Number>()->Value());
  return strdup(field);
}

// A time in milliseconds as the item ";KEYWORD=ms", or "" when the option is absent. Null
// after a refusal: only whole numbers from 0 to the largest int32 pass.
static char* millis_item(Isolate* isolate, Local<Object> options, const char* key, const char* keyword) {
  Local<Value> value;
  if (!option(isolate, options, key, &value)) return nullptr;
  if (value->IsUndefined()) return strdup("");
  double ms = value->IsNumber() ? value.As<v8::Number>()->Value() : -1;
  if (!(ms >= 0 && ms <= MS_MAX && std::floor(ms) == ms)) {
    throw_invalid(isolate, key, "it must be a whole number of milliseconds from 0 to 2147483647");
    return nullptr;
  }
  char item[64];
  snprintf(item, sizeof item, ";%s=%d", keyword, static_cast<int>(ms));
  return strdup(item);
}

// silent: true as the item ";SILENT=on"; false or absent adds nothing. Null after a refusal.
static char* silent_item(Isolate* isolate, Local<Object> options) {
  Local<Value> value;
  if (!option(isolate, options, "silent", &value)) return nullptr;
  if (value->IsUndefined() || value->IsFalse()) return strdup("");
  if (value->IsTrue()) return strdup(";SILENT=on");
  throw_invalid(isolate, "silent", "it must be true or false");
  return nullptr;
}

bool options_to_conn_string(Isolate* isolate, Local<Object> options, char** out) {
  enum { HOST, PORT, USER, PASSWORD, DATABASE, CHAR_SET, TIMEOUT, CONNECT_TIMEOUT, SILENT, PARTS };
  char* part[PARTS] = {nullptr};
  // Read in this order; the first refusal ends the reading.
  part[HOST] = option_text(isolate, options, kHost);
  if (part[HOST]) part[PORT] = port_text(isolate, options);
  if (part[PORT]) part[USER] = option_text(isolate, options, kUser);
  if (part[USER]) part[PASSWORD] = option_text(isolate, options, kPassword);
  if (part[PASSWORD]) part[DATABASE] = option_text(isolate, options, kDatabase);
  if (part[DATABASE]) part[CHAR_SET] = option_text(isolate, options, kCharSet);
  if (part[CHAR_SET]) part[TIMEOUT] = millis_item(isolate, options, "timeout", "RECV_TIMEOUT");
  if (part[TIMEOUT]) part[CONNECT_TIMEOUT] = millis_item(isolate, options, "connectTimeout", "CONNECT_TIMEOUT");
  if (part[CONNECT_TIMEOUT]) part[SILENT] = silent_item(isolate, options);
  bool accepted = part[SILENT] != nullptr;
  // Sized to what the values need, so that no value is ever cut short.
  *out = nullptr;
  if (accepted &&
      asprintf(out, "IP=%s;Port=%s;Database=%s;USER=%s;PWD=%s;CHAR_SET=%s%s%s%s", part[HOST], part[PORT],
               part[DATABASE], part[USER], part[PASSWORD], part[CHAR_SET], part[TIMEOUT], part[CONNECT_TIMEOUT],
               part[SILENT]) < 0)
    *out = nullptr;
  for (char* p : part) free(p);
  return accepted;
}

}  // namespace zvdbms
