// sd-bus: a message with an a{sv} of eight mixed values, sealed and read back.
#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

#include "bench/operations/property_work.h"
#include "bench/peers/sdbus_pair.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class SdBusSet : public PropertySetWork<SdBusSet> {
 public:
  std::uint64_t Do(std::vector<std::string>& keys, std::string& text) {
    sd_bus_message* message = nullptr;
    RequireBus(sd_bus_message_new_method_call(bus_.client(), &message, nullptr, "/bench",
                                              "org.example.Bench", "Set"),
               "no message");
    sd_bus_message_open_container(message, 'a', "{sv}");
    sd_bus_message_append(message, "{sv}", "number", "u", values_.number);
    sd_bus_message_append(message, "{sv}", "difference", "i", values_.difference);
    sd_bus_message_append(message, "{sv}", "size", "t", values_.size);
    sd_bus_message_append(message, "{sv}", "offset", "x", values_.offset);
    sd_bus_message_append(message, "{sv}", "removable", "b", static_cast<int>(values_.removable));
    sd_bus_message_append(message, "{sv}", "path", "s", values_.path.c_str());
    sd_bus_message_append(message, "{sv}", "model", "s", values_.model.c_str());
    sd_bus_message_append(message, "{sv}", "serial", "s", values_.serial.c_str());
    sd_bus_message_close_container(message);
    RequireBus(sd_bus_message_seal(message, 1, 0), "not sealed");

    EightValues read{0, 0, 0, 0, false, {}, {}, {}};
    int removable = 0;
    Find(message, "number", "u", &read.number);
    Find(message, "difference", "i", &read.difference);
    Find(message, "size", "t", &read.size);
    Find(message, "offset", "x", &read.offset);
    Find(message, "removable", "b", &removable);
    read.removable = removable != 0;
    FindText(message, "path", read.path);
    FindText(message, "model", read.model);
    FindText(message, "serial", read.serial);
    ReadKeysAndText(message, keys, text);
    sd_bus_message_unref(message);
    return read.Sum();
  }

  // There is no other way to a value than through those before it.
  static void Find(sd_bus_message* message, std::string_view name, const char* type, void* out) {
    sd_bus_message_rewind(message, 1);
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      const char* key = nullptr;
      sd_bus_message_read_basic(message, 's', &key);
      if (name == key) {
        sd_bus_message_enter_container(message, 'v', type);
        RequireBus(sd_bus_message_read_basic(message, *type, out), "no value");
        return;
      }
      sd_bus_message_skip(message, "v");
      sd_bus_message_exit_container(message);
    }
  }

  static void FindText(sd_bus_message* message, std::string_view name, std::string& out) {
    const char* text = "";
    Find(message, name, "s", static_cast<void*>(&text));
    out = text;
  }

  static void ReadKeysAndText(sd_bus_message* message, std::vector<std::string>& keys,
                              std::string& text) {
    sd_bus_message_rewind(message, 1);
    sd_bus_message_enter_container(message, 'a', "{sv}");
    text = "{";
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      const char* key = nullptr;
      sd_bus_message_read_basic(message, 's', &key);
      keys.emplace_back(key);
      const char* type = nullptr;
      sd_bus_message_peek_type(message, nullptr, &type);
      sd_bus_message_enter_container(message, 'v', type);
      union {
        std::uint32_t u;
        std::int32_t i;
        std::uint64_t t;
        std::int64_t x;
        const char* s;
      } value{};
      sd_bus_message_read_basic(message, *type, &value);
      text += key;
      text += " = ";
      switch (*type) {
        case 'u':
          text += std::to_string(value.u);
          break;
        case 'i':
          text += std::to_string(value.i);
          break;
        case 't':
          text += std::to_string(value.t);
          break;
        case 'x':
          text += std::to_string(value.x);
          break;
        case 'b':
          text += value.i != 0 ? "true" : "false";
          break;
        default:
          text += value.s;
          break;
      }
      text += ", ";
      sd_bus_message_exit_container(message);
      sd_bus_message_exit_container(message);
    }
    text += "}";
  }

  SdBusPair bus_;
};

const bool entered = Add<SdBusSet>("property-set/8/sd-bus", {});

}  // namespace
}  // namespace kt::bench
