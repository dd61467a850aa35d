/* Controls that misbehave, for the tests of the plug-in loader: built as
 * several small libraries from this one file (see ../CMakeLists.txt).
 *   TEST_CONTROL_ROGUE      an older table without the later members; texts
 *                           without terminators, failure statuses with
 *                           the error flag left at 0, a missing method
 *   TEST_CONTROL_BADVERSION an interface table of a later version
 *   TEST_CONTROL_NOCREATE   creation fails
 *   TEST_CONTROL_NOENTRY    no entry point at all
 * Written in C89 so that the public header is checked as C as well. */
#include <string.h>

#include "meterimport/meterctl.h"

struct meterctl_instance {
  int connected;
};

static struct meterctl_instance the_instance;

static meterctl_status Create(const meterctl_setting* settings, size_t count,
                              meterctl_instance** instance) {
  (void)settings;
  (void)count;
#ifdef TEST_CONTROL_NOCREATE
  *instance = 0;
  return METERCTL_ERR_FAILED;
#else
  *instance = &the_instance;
  return METERCTL_OK;
#endif
}

static void Destroy(meterctl_instance* instance) {
  (void)instance;
  the_instance.connected = 0;
}

/* Driver count: succeeds with 2. */
static meterctl_status DriverCount(meterctl_instance* self, int16_t* count, int32_t* error) {
  (void)self;
  *count = 2;
  *error = 0;
  return METERCTL_OK;
}

/* Driver entry: fills the whole buffers without any terminator. */
static meterctl_status DriverEntry(meterctl_instance* self, int32_t index, char* key,
                                   size_t key_capacity, char* name, size_t name_capacity,
                                   int32_t* error) {
  (void)self;
  (void)index;
  memset(key, 'K', key_capacity);
  memset(name, 'N', name_capacity);
  *error = 0;
  return METERCTL_OK;
}

/* Identification: a text with a NUL inside. */
static meterctl_status InfoItem(meterctl_instance* self, int32_t item, char* value, size_t capacity,
                                int32_t* error) {
  (void)self;
  (void)item;
  /* NOLINTNEXTLINE(bugprone-not-null-terminated-result): no terminator at the end, on purpose */
  if (capacity >= 8) memcpy(value, "200\0junk", 8);
  *error = 0;
  return METERCTL_OK;
}

/* Connect: fails by its status but leaves the flag at 0, and scribbles on
 * the connect text. */
static meterctl_status Connect(meterctl_instance* self, char* key, size_t key_capacity,
                               int16_t port, char* text, size_t text_capacity, int32_t* error) {
  (void)self;
  (void)key;
  (void)key_capacity;
  (void)port;
  memset(text, 'X', text_capacity);
  *error = 0;
  return METERCTL_ERR_NOT_CONNECTED;
}

/* Read data: succeeds with 1 record. */
static meterctl_status ReadData(meterctl_instance* self, int16_t kind, int16_t* count,
                                int32_t* position, int32_t c1, int32_t window, int32_t c2,
                                int32_t* error) {
  (void)self;
  (void)kind;
  (void)position;
  (void)c1;
  (void)window;
  (void)c2;
  *count = 1;
  *error = 0;
  return METERCTL_OK;
}

/* Record: date and time without terminators, bytes all 0x01. */
static meterctl_status GetDataRecord(meterctl_instance* self, int32_t index,
                                     meterctl_raw_record* record, int32_t* error) {
  (void)self;
  (void)index;
  memset(record->bytes, 1, sizeof record->bytes);
  memset(record->date, '9', sizeof record->date);
  memset(record->time, '8', sizeof record->time);
  *error = 0;
  return METERCTL_OK;
}

/* Second set: the flag set, but the status says OK. */
static meterctl_status ReadSecondSet(meterctl_instance* self, int16_t* count, int32_t window,
                                     int32_t* error) {
  (void)self;
  (void)window;
  *count = 5;
  *error = 7;
  return METERCTL_OK;
}

static meterctl_interface table;

static const meterctl_interface* Fill(void) {
#ifdef TEST_CONTROL_ROGUE
  /* Built before the members after the nine methods existed: its table ends
   * there, and what lies beyond must never be used. */
  table.struct_size = offsetof(meterctl_interface, error_text);
  table.error_text = (meterctl_status(*)(meterctl_instance*, char*, size_t))1;
  table.set_progress = (meterctl_status(*)(meterctl_instance*, meterctl_progress_fn, void*))1;
#else
  table.struct_size = sizeof table;
#endif
#ifdef TEST_CONTROL_BADVERSION
  table.abi_version = METERCTL_ABI_VERSION + 1;
#else
  table.abi_version = METERCTL_ABI_VERSION;
#endif
  table.description = "test control";
  table.create = Create;
  table.destroy = Destroy;
  table.driver_count = DriverCount;
  table.driver_entry = DriverEntry;
  table.info_item = InfoItem;
  table.connect = Connect;
  table.disconnect = 0; /* not provided */
  table.read_data = ReadData;
  table.get_data_record = GetDataRecord;
  table.read_second_set = ReadSecondSet;
  table.get_second_set_record = 0;
  return &table;
}

#ifdef TEST_CONTROL_NOENTRY
/* No entry point: only a function of another name. */
METERCTL_EXPORT const meterctl_interface* some_other_function(void) {
  return Fill();
}
#else
METERCTL_EXPORT const meterctl_interface* meterctl_get_interface(void) {
  return Fill();
}
#endif
