/*
 * meterctl.h - the C interface of a meter communication control.
 *
 * A meter communication control is a shared library that talks to a blood
 * glucose meter (or stands in for one) on behalf of the meter-import module.
 * The module finds the library through its class registration in the machine
 * settings hive:
 *
 *   SOFTWARE\Classes\CLSID\{C8367F74-6040-11D3-8A53-00C04FC8C0E2}\InprocServer32
 *     (default value)  path of the shared library
 *     other values     handed to the control when it is created
 *
 * It loads the library, calls the one exported entry point
 * meterctl_get_interface() and uses the table of functions it returns. This
 * header is all a vendor or protocol driver needs; it is valid C89/C99 and C++.
 *
 * Conventions
 * -----------
 * - Every method returns a meterctl_status: METERCTL_OK (0) on success,
 *   anything else on failure. Every method also takes the error flag
 *   (int32_t *error) as its LAST argument: the control stores 0 there on
 *   success and a non-zero value on failure. The caller presets it to 0.
 *   A non-zero status with the flag left at 0 still counts as a failure.
 * - Texts are UTF-8 and NUL-terminated.
 * - Buffers: every text that a method gives back is written into a buffer
 *   that the CALLER provides together with its capacity in bytes (the
 *   closing NUL included). The control writes at most capacity bytes, always
 *   NUL-terminates when capacity > 0, and shortens a text that does not fit
 *   (at a character boundary). Nothing that a method gives back is owned by
 *   the control or has to be freed by the caller, and the control keeps no
 *   pointer to a caller's buffer after the call returns.
 * - In/out texts (the driver key and the connect text of connect) arrive in
 *   the same buffer, NUL-terminated; the control may replace them.
 * - Record structures carry their own size in struct_size, set by the caller
 *   before the call. A control fills only what lies within struct_size and
 *   fails (METERCTL_ERR_ARGUMENT) when struct_size is smaller than the
 *   version 1 layout below.
 * - Indices are 1-based.
 * - Threads: the module never calls a control from two threads at once. The
 *   calls of one transfer (the driver list, connect, the identification, the
 *   reads and their records, set_progress, disconnect) come from one worker
 *   thread of the module, one after another, so that its window stays alive
 *   while the meter is read; create, destroy and a disconnect after a
 *   transfer come from the module's main thread, never while a call of a
 *   transfer runs. A control must therefore not rely on the thread that
 *   created it (no thread-local state, no window of its own). The one
 *   exception is request_cancel: it is called from the main thread while a
 *   read runs on the worker (see there). A control may block in a call for
 *   as long as the exchange with the meter takes.
 *
 * Versions
 * --------
 * abi_version changes only when existing members change meaning or layout;
 * members may be added at the end of a structure without changing it, and
 * struct_size tells which ones are there. The module accepts a table whose
 * abi_version equals METERCTL_ABI_VERSION and whose struct_size covers the
 * version 1 members.
 */
#ifndef METERIMPORT_METERCTL_H
#define METERIMPORT_METERCTL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define METERCTL_ABI_VERSION 1

/* The name of the exported entry point, for dlsym(). */
#define METERCTL_ENTRY_POINT "meterctl_get_interface"

/* The class and interface identifiers under which the control is known. */
#define METERCTL_CLASS_ID "{C8367F74-6040-11D3-8A53-00C04FC8C0E2}"
#define METERCTL_INTERFACE_ID "{C8367F72-6040-11D3-8A53-00C04FC8C0E2}"

#if defined(_WIN32)
#define METERCTL_EXPORT __declspec(dllexport)
#elif defined(__GNUC__)
#define METERCTL_EXPORT __attribute__((visibility("default")))
#else
#define METERCTL_EXPORT
#endif

typedef int32_t meterctl_status;

#define METERCTL_OK 0
#define METERCTL_ERR_FAILED 1        /* the operation failed (the meter, the line, ...) */
#define METERCTL_ERR_ARGUMENT 2      /* a null pointer, a struct_size too small, ... */
#define METERCTL_ERR_RANGE 3         /* an index or item number out of range */
#define METERCTL_ERR_NOT_CONNECTED 4 /* the call needs an open connection */
#define METERCTL_ERR_NO_DRIVER 5     /* connect: the driver key is not known */
#define METERCTL_ERR_CANCELLED 6     /* a read ended early by request_cancel */

/* Size of the fixed part of a raw record: the meter entry's 80 bytes. */
#define METERCTL_RAW_RECORD_BYTES 80
/* Capacity of the date and time texts in the record structures. */
#define METERCTL_DATE_CAPACITY 32
#define METERCTL_TIME_CAPACITY 32

/*
 * One entry of the meter's memory (methods 35/36). bytes holds the 80-byte
 * record, numbers little-endian, at these offsets:
 *    0 date (the text travels in date[], the 4 bytes are unused)
 *    4 time (the text travels in time[], the 4 bytes are unused)
 *    8 float    glucose value, or the value of a laboratory kind
 *   12 int16    glucose status (3: the entry holds no glucose reading)
 *   14 int16    non-zero: control-solution test
 *   16 int16    greater than 0: the entry is flagged (event 9)
 *   20 float[4] insulin doses of slots 1 to 4 (0: no dose)
 *   48 int16    marker (1 or 2)
 *   50 int16    carbohydrate amount (greater than 0: an intake)
 *   58 int16    non-zero: the entry holds exercise
 *   60 int16    exercise minutes
 *   62 int16[4] raw event codes 1 to 4 (signed)
 *   72 int32    carbohydrate unit: code x 65536 (1 grams, 12 bread units)
 * Other bytes are the control's own and are not read.
 * date is "yyyymmdd" and time "hhmmss", NUL-terminated.
 */
typedef struct meterctl_raw_record {
  uint32_t struct_size; /* sizeof(meterctl_raw_record), set by the caller */
  uint8_t bytes[METERCTL_RAW_RECORD_BYTES];
  char date[METERCTL_DATE_CAPACITY];
  char time[METERCTL_TIME_CAPACITY];
} meterctl_raw_record;

/* One entry of the second record set (methods 40/41): a pump bolus. */
typedef struct meterctl_pump_record {
  uint32_t struct_size; /* sizeof(meterctl_pump_record), set by the caller */
  char date[METERCTL_DATE_CAPACITY];
  char time[METERCTL_TIME_CAPACITY];
  int32_t insulin_type; /* insulin type code 0 to 15 */
  float amount;         /* units */
} meterctl_pump_record;

/* One value of the registration key, handed over at creation. The name of
 * the default value is "". Texts are given as stored; 32-bit numbers as
 * their decimal text. The pointers are valid only during create(). */
typedef struct meterctl_setting {
  const char* name;
  const char* value;
} meterctl_setting;

/* An instance of the control; its layout is the control's own. */
typedef struct meterctl_instance meterctl_instance;

/* How a control tells the progress of a read (methods 35 and 40) while it
 * lasts: `done` of `total` records read, for the progress window that the
 * read was handed. Called on the thread of the read, inside the call (the
 * module hands the figures on to its window thread itself). */
typedef void (*meterctl_progress_fn)(void* context, int32_t progress_window, int32_t done,
                                     int32_t total);

typedef struct meterctl_interface {
  uint32_t struct_size;    /* sizeof(meterctl_interface) of the control's build */
  uint32_t abi_version;    /* METERCTL_ABI_VERSION of the control's build */
  const char* description; /* a short name of the control, for logs (may be NULL) */

  /* Creates an instance. settings/setting_count: the values of the
   * registration key. On success *instance is set and METERCTL_OK returned;
   * the instance lives until destroy(). */
  meterctl_status (*create)(const meterctl_setting* settings, size_t setting_count,
                            meterctl_instance** instance);
  /* Ends an instance, closing an open connection first. NULL is ignored. */
  void (*destroy)(meterctl_instance* instance);

  /* The nine methods, in the order of the control's interface. */

  /* 1: number of drivers the control knows. */
  meterctl_status (*driver_count)(meterctl_instance* instance, int16_t* count, int32_t* error);
  /* 2: driver index (1 to count): its key and its display name. */
  meterctl_status (*driver_entry)(meterctl_instance* instance, int32_t index, char* key,
                                  size_t key_capacity, char* name, size_t name_capacity,
                                  int32_t* error);
  /* 3: identification item 1 to 12 of the connected meter, as text (item 3
   * the serial number, item 4 the model code). */
  meterctl_status (*info_item)(meterctl_instance* instance, int32_t item, char* value,
                               size_t value_capacity, int32_t* error);
  /* 6: opens the meter connection with the driver named by its key, on port
   * "COM<port>". connect_text comes in with the driver's display name and
   * goes back with the control's text for the connection. */
  meterctl_status (*connect)(meterctl_instance* instance, char* driver_key, size_t key_capacity,
                             int16_t port, char* connect_text, size_t connect_text_capacity,
                             int32_t* error);
  /* 7: closes the connection (no error when none is open). */
  meterctl_status (*disconnect)(meterctl_instance* instance, int32_t* error);
  /* 35: reads the records of one kind (1: the meter's entries, 2 and up:
   * laboratory kinds) and makes them available to get_data_record. count
   * comes in as the most records wanted (the module passes 1680) and goes
   * back as the number available; position comes in as -1. constant1 and
   * constant2 are passed as 1; progress_window is the window handle of the
   * caller's progress bar (0: none). */
  meterctl_status (*read_data)(meterctl_instance* instance, int16_t kind, int16_t* count,
                               int32_t* position, int32_t constant1, int32_t progress_window,
                               int32_t constant2, int32_t* error);
  /* 36: record index (1 to count) of the last read_data. */
  meterctl_status (*get_data_record)(meterctl_instance* instance, int32_t index,
                                     meterctl_raw_record* record, int32_t* error);
  /* 40: reads the second record set (pump boluses). */
  meterctl_status (*read_second_set)(meterctl_instance* instance, int16_t* count,
                                     int32_t progress_window, int32_t* error);
  /* 41: entry index (1 to count) of the second set. */
  meterctl_status (*get_second_set_record)(meterctl_instance* instance, int32_t index,
                                           meterctl_pump_record* record, int32_t* error);

  /* Members added after the nine methods. A control built against an older
   * header has a smaller struct_size and lacks them; the module uses a member
   * only when struct_size covers it and it is not NULL. */

  /* The last failure of this instance in the control's own words (what the
   * meter or the line did), for the report that a person reads: "the meter
   * did not answer the read of kind 1 after 3 tries". May be NULL. */
  meterctl_status (*error_text)(meterctl_instance* instance, char* text, size_t text_capacity);

  /* Hands the instance the function through which it reports progress
   * during read_data and read_second_set (report NULL: no more reports).
   * A control that never reports may leave this NULL. */
  meterctl_status (*set_progress)(meterctl_instance* instance, meterctl_progress_fn report,
                                  void* context);

  /* Asks the instance to end the read that runs now (read_data or
   * read_second_set) early, or the next one when none runs: that read
   * returns METERCTL_ERR_CANCELLED with the error flag set (the records it
   * had read need not stay available). Unlike every other method it is
   * called from another thread than the read's, while the read runs, when
   * the person cancels the import: it must only note the request (an atomic
   * flag) and return at once, and may be called more than once. The
   * request holds until the read that it ends, or the next connect or
   * disconnect. May be NULL: the module then waits for the read to end by
   * itself and stops before the next record set. */
  meterctl_status (*request_cancel)(meterctl_instance* instance);
} meterctl_interface;

/* The entry point every control exports. The table it returns is static and
 * stays valid until the library is unloaded. */
typedef const meterctl_interface* (*meterctl_get_interface_fn)(void);
METERCTL_EXPORT const meterctl_interface* meterctl_get_interface(void);

#ifdef __cplusplus
}
#endif

#endif /* METERIMPORT_METERCTL_H */
