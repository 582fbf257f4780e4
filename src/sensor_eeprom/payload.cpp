#include <kos.h>

#include "ostdrv.h"

namespace {

// An application marks a buffer of its own by a capacity that none of ours has.
bool owns_data(const x_sensor_eeprom_table &table) {
    return table.capacity >= 1 && table.capacity <= X_SENSOR_EEPROM_TABLE_CAPACITY;
}

// The first `count` slots, and the record.
void release(x_sensor_eeprom_payload *payload, int count) {
    for (int slot = 0; slot < count; ++slot)
        if (owns_data(payload->tables[slot])) kos_mem_free(payload->tables[slot].data);
    kos_mem_free(payload);
}

}  // namespace

x_sensor_eeprom_payload *x_sensor_eeprom_payload_init(void) {
    auto *const payload = static_cast<x_sensor_eeprom_payload *>(kos_mem_alloc(sizeof(x_sensor_eeprom_payload)));
    if (!payload) return nullptr;

    for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
        x_sensor_eeprom_table &table = payload->tables[slot];
        table.data = static_cast<uint8_t *>(kos_mem_alloc(X_SENSOR_EEPROM_TABLE_CAPACITY));
        if (!table.data) {
            release(payload, slot);
            return nullptr;
        }
        table.capacity = X_SENSOR_EEPROM_TABLE_CAPACITY;
        table.length = 0;
        table.name[0] = '\0';
    }
    return payload;
}

void x_sensor_eeprom_payload_free(x_sensor_eeprom_payload *payload) {
    if (payload) release(payload, X_SENSOR_EEPROM_TABLES);
}
