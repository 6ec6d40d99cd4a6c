// The device registry ("gamepads.json"): any bytes read to a bounded registry with at most one
// selected device.

#include "deviceregistry.h"
#include "fuzzsupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    const DeviceRegistry registry = parseDeviceRegistry(fuzz::bytesOf(data, size));
    fuzz::require(registry.devices.size() <= kMaxRegistryEntries, "entries capped");
    int selected = 0;
    for (const DeviceRegistryEntry &entry : registry.devices)
        selected += entry.kv.value(QStringLiteral("selected")).toBool() ? 1 : 0;
    fuzz::require(selected <= 1, "one selected device");
    return 0;
}
