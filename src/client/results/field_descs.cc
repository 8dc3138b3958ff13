// Field descriptions of a result: count, names, types, and the row layout they give.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"

int32_t read_field_descs(ConnRecord* conn, ResultRecord* result) {
  int32_t field_num = 0;
  if (!recv_int32(conn, &field_num) || field_num < 0 || field_num > MAX_FIELDS) return ZV_NET_ERROR;
  FieldDesc* fields = static_cast<FieldDesc*>(client_alloc(field_num * sizeof(FieldDesc)));
  if (!fields) return ZV_NO_MEMORY;
  for (int32_t i = 0; i < field_num; i++) {
    int32_t rc = read_field_desc(conn, &fields[i]);
    if (rc != 0) {
      free_field_descs(fields, i);
      return rc;
    }
  }
  // Slots follow the status bits, two bits for each field, packed without padding.
  int32_t offset = (2 * field_num + 7) / 8;
  for (int32_t i = 0; i < field_num; i++) {
    fields[i].offset = offset;
    offset += type_slot_width(fields[i].type);
  }
  result->fields = fields;
  result->field_count = field_num;
  result->row_size = offset + ROW_HEADER_SIZE;
  return 0;
}

// Splits "table.name%alias" in place; only the part before the "%" is searched for ".".
static void split_name(char* text, FieldDesc* desc) {
  char* percent = strchr(text, '%');
  if (percent) {
    *percent = '\0';
    desc->alias = percent + 1;
  }
  char* dot = strchr(text, '.');
  if (dot) {
    *dot = '\0';
    desc->table = text;
    desc->name = dot + 1;
  } else {
    desc->name = text;
  }
}

int32_t read_field_desc(ConnRecord* conn, FieldDesc* desc) {
  int32_t name_len = 0;
  if (!recv_int32(conn, &name_len) || name_len < 0 || name_len > MAX_NAME_LEN) return ZV_NET_ERROR;
  char* text = static_cast<char*>(client_alloc(name_len + 1));
  if (!text) return ZV_NO_MEMORY;
  if (!recv_bytes(conn, text, name_len) || !recv_int32(conn, &desc->type) || !recv_int32(conn, &desc->size) ||
      !recv_int32(conn, &desc->detail)) {
    free(text);
    memset(desc, 0, sizeof *desc);
    return ZV_NET_ERROR;
  }
  split_name(text, desc);
  desc->ctype = type_to_ctype(desc->type);
  return 0;
}
