// The records that cross the library's border, field by field: applications and the chips' libraries are built against
// these layouts, on AArch64 as on x86-64. Adds nothing to the library.

#include <trustx.h>

#include <cstddef>

#include "ostdrv.h"

#define AT(record, field, offset) static_assert(offsetof(record, field) == (offset))
#define SIZE(record, size) static_assert(sizeof(record) == (size))

AT(ATCAIfaceCfg, iface_type, 0);
AT(ATCAIfaceCfg, devtype, 4);
AT(ATCAIfaceCfg, atcai2c.slave_address, 8);
AT(ATCAIfaceCfg, atcai2c.bus, 9);
AT(ATCAIfaceCfg, atcai2c.baud, 12);
AT(ATCAIfaceCfg, atcahid.idx, 8);
AT(ATCAIfaceCfg, atcahid.vid, 12);
AT(ATCAIfaceCfg, atcahid.pid, 16);
AT(ATCAIfaceCfg, atcahid.packetsize, 20);
AT(ATCAIfaceCfg, atcahid.guid, 24);
AT(ATCAIfaceCfg, wake_delay, 72);
AT(ATCAIfaceCfg, rx_retries, 76);
AT(ATCAIfaceCfg, cfg_data, 80);
SIZE(ATCAIfaceCfg, 88);
SIZE(ATCA_STATUS, 4);
SIZE(ATCADeviceType, 4);
SIZE(ATCAIfaceType, 4);

AT(atcacert_device_loc_t, slot, 4);
AT(atcacert_device_loc_t, is_genkey, 5);
AT(atcacert_device_loc_t, offset, 6);
AT(atcacert_device_loc_t, count, 8);
SIZE(atcacert_device_loc_t, 12);
SIZE(atcacert_cert_loc_t, 4);
AT(atcacert_def_t, private_key_slot, 5);
AT(atcacert_def_t, sn_source, 8);
AT(atcacert_def_t, cert_sn_dev_loc, 12);
AT(atcacert_def_t, issue_date_format, 24);
AT(atcacert_def_t, expire_date_format, 28);
AT(atcacert_def_t, tbs_cert_loc, 32);
AT(atcacert_def_t, expire_years, 36);
AT(atcacert_def_t, public_key_dev_loc, 40);
AT(atcacert_def_t, comp_cert_dev_loc, 52);
AT(atcacert_def_t, std_cert_elements, 64);
AT(atcacert_def_t, cert_elements, 96);
AT(atcacert_def_t, cert_elements_count, 104);
AT(atcacert_def_t, cert_template, 112);
AT(atcacert_def_t, cert_template_size, 120);
AT(atcacert_def_t, ca_cert_def, 128);
SIZE(atcacert_def_t, 136);

SIZE(optiga_lib_status_t, 4);
SIZE(optiga_key_id_t, 4);
SIZE(optiga_ecc_curve_t, 4);

AT(x_gpio_poll_entry, edge, 4);
AT(x_gpio_poll_entry, value, 8);
AT(x_gpio_poll_entry, fired, 12);
AT(x_gpio_poll_entry, fd, 16);
SIZE(x_gpio_poll_entry, 20);

AT(x_sensor_eeprom_table, data, 64);
AT(x_sensor_eeprom_table, capacity, 72);
AT(x_sensor_eeprom_table, length, 76);
SIZE(x_sensor_eeprom_table, 80);
AT(x_sensor_eeprom_payload, hash, 160);
AT(x_sensor_eeprom_payload, tables, 176);
SIZE(x_sensor_eeprom_payload, 1776);

AT(x_sensor_eeprom_md5_ctx, count, 16);
AT(x_sensor_eeprom_md5_ctx, buffer, 24);
SIZE(x_sensor_eeprom_md5_ctx, 88);

AT(tpm_trustx_slot, flag, 4);
SIZE(tpm_trustx_slot, 8);
SIZE(trustx_slots, 64);
AT(tpm_cert_api_t, save_device_cert, 8);
AT(tpm_cert_api_t, lock_signer_cert, 16);
AT(tpm_cert_api_t, lock_device_cert, 24);
AT(tpm_cert_api_t, export_signer_cert, 32);
AT(tpm_cert_api_t, export_device_cert, 40);
AT(tpm_cert_api_t, verify, 48);
SIZE(tpm_cert_api_t, 56);

SIZE(tpm_config_data, 128);
SIZE(g_csr_template, 237);
SIZE(trustx_csr_header_template, 36);
SIZE(trustx_csr_signable_template, 148);
SIZE(trustx_csr_signature_template, 87);
SIZE(trustx_csr_footer_template, 35);
SIZE(b64chars, 66);
