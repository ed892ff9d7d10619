/* The switch OS's client operations that this daemon calls.
 *
 * These are our own declarations of the functions that the switch's libopenclt and libproc_libs
 * export (C linkage). They name exactly what the daemon needs and nothing else of those libraries.
 *
 * Conventions, unless a function says otherwise:
 *   - the first argument is the handle filled by openapiClientRegister;
 *   - the result is 0 on success and a non-zero (negative) code on failure; out values are
 * undefined after a failure;
 *   - every call may be made from any thread; a call blocks until the switch OS has answered;
 *   - all memory belongs to the caller.
 */
#ifndef QUORIN_SWITCHOS_OPENCLT_H
#define QUORIN_SWITCHOS_OPENCLT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes that the daemon tells apart; every other non-zero result is just a failure. */
#define OPENCLT_OK 0
#define OPENCLT_INVALID_ARGUMENT (-22)
#define OPENCLT_NOT_ALLOWED (-29)

/* The library's state of one registered client. Zero it before registering; only the library reads
 * or writes the inside. The size is an upper bound on what the library stores there. */
typedef struct OpenClientHandle {
  uint64_t opaque[32];
} OpenClientHandle;

/* A text or byte buffer: its size in bytes (for an input text, the terminating zero counts) and its
 * address. */
typedef struct OpenBuffDesc {
  uint32_t size;
  char* start;
} OpenBuffDesc;

/* Version of the operations' interface, printed dotted. */
typedef struct OpenApiVersion {
  uint8_t component[4];
} OpenApiVersion;

/* Where a port sits: the unit of the stack, the slot and the port, each counted as the switch
 * prints them. */
typedef struct OpenUnitSlotPort {
  uint8_t unit;
  uint8_t slot;
  uint16_t port;
} OpenUnitSlotPort;

/* ---- libproc_libs ---- */

/* Registers the calling process with the switch's crash logger. */
int32_t l7proc_crashlog_register(void);

/* ---- libopenclt: the session ---- */

/* Registers this process as a client under clientName and fills *handle. Succeeds whether or not a
 * server answers. */
int32_t openapiClientRegister(const char* clientName, OpenClientHandle* handle);
int32_t openapiClientTearDown(OpenClientHandle* handle);
/* 0 when the switch OS's server answers. */
int32_t rpcclt_openapiConnectivityCheck(OpenClientHandle* handle);
/* Writes a zero-terminated text of at most version->size bytes. */
int32_t rpcclt_openapiNetworkOSVersionGet(OpenClientHandle* handle, OpenBuffDesc* version);
int32_t rpcclt_openapiApiVersionGet(OpenClientHandle* handle, OpenApiVersion* version);

/* ---- libopenclt: PoE ports (ifNum is the switch's internal interface number) ---- */

/* A port's PoE admin mode. */
#define OPENCLT_ADMIN_DISABLE 0
#define OPENCLT_ADMIN_ENABLE 1

/* OPENCLT_INVALID_ARGUMENT and OPENCLT_NOT_ALLOWED are told apart. */
int32_t rpcclt_openapiPoePsePortAdminEnableSet(OpenClientHandle* handle, uint32_t ifNum,
                                               uint32_t mode);
int32_t rpcclt_openapiPoePsePortAdminEnableGet(OpenClientHandle* handle, uint32_t ifNum,
                                               uint32_t* mode);
/* Power-cycles the port with the switch's own timing. */
int32_t rpcclt_openapiPoePsePortReset(OpenClientHandle* handle, int32_t unit, uint32_t ifNum);
/* Power in mW, current in mA, voltage in mV, temperature in degrees Celsius. Fails on a port
 * without PoE. */
int32_t rpcclt_openapiPoePsePortSensorsGet(OpenClientHandle* handle, int32_t unit, uint32_t ifNum,
                                           uint32_t* powerMw, uint32_t* currentMa,
                                           uint32_t* voltageMv, uint32_t* temperature);
/* Class of the powered device, 0 to 8. */
int32_t rpcclt_openapiPoePsePortPowerClassificationsGet(OpenClientHandle* handle, int32_t unit,
                                                        uint32_t ifNum, uint32_t* powerClass);
/* 1 low, 2 medium, 3 high, 4 critical. */
int32_t rpcclt_openapiPoePsePortCurPowerPriorityGet(OpenClientHandle* handle, int32_t unit,
                                                    uint32_t ifNum, uint32_t* priority);
int32_t rpcclt_openapiPoePsePortCurPowerLimitGet(OpenClientHandle* handle, int32_t unit,
                                                 uint32_t ifNum, uint32_t* limitMw);
/* 0 802.3af, 1 high inrush, 2 pre-802.3at, 3 802.3at, 4 UPoE, 5 pre-802.3bt, 6 type 3, 7 802.3bt.
 */
int32_t rpcclt_openapiPoePsePortPowerUpModeGet(OpenClientHandle* handle, int32_t unit,
                                               uint32_t ifNum, int32_t* mode);
/* 1 legacy, 2 4-point 802.3af, 3 the same with legacy, 4 2-point 802.3af, 5 the same with legacy, 6
 * none, 7 802.3bt, 8 802.3bt with legacy. */
int32_t rpcclt_openapiPoePsePortDetectionModeGet(OpenClientHandle* handle, int32_t unit,
                                                 uint32_t ifNum, uint32_t* mode);
/* 0 disabled, 1 searching, 2 delivering, 3 fault, 4 denied, 5 and above off. */
int32_t rpcclt_openapiPoePsePortDetectionStatusGet(OpenClientHandle* handle, int32_t unit,
                                                   uint32_t ifNum, uint32_t* status);
/* How the power limit was set: 1 by 802.3af class, 2 by the user, 3 none. */
int32_t rpcclt_openapiPoePsePortViolationTypeGet(OpenClientHandle* handle, int32_t unit,
                                                 uint32_t ifNum, uint32_t* type);

/* ---- libopenclt: interfaces, clock, CLI ---- */

int32_t rpcclt_openapiHashIntfUnitSlotPortGet(OpenClientHandle* handle, uint32_t ifNum,
                                              OpenUnitSlotPort* where);
/* name: a port's name as the CLI prints it, for example 1/0/5 or 0/5. */
int32_t rpcclt_openapiIfNumGet(OpenClientHandle* handle, OpenBuffDesc* name, uint32_t* ifNum);
/* Writes the switch's local time as YYYY-MM-DD HH:MM:SS into a buffer of at least 20 bytes, and the
 * offset of its time zone from UTC in minutes. */
int32_t rpcclt_openapiClockGet(OpenClientHandle* handle, OpenBuffDesc* timeText,
                               int32_t* zoneOffset);
/* Runs a "show" command of the CLI and writes what it prints to the file at path (created anew). */
int32_t rpcclt_openapiCliShowExecuteToFile(OpenClientHandle* handle, OpenBuffDesc* command,
                                           OpenBuffDesc* path);

#ifdef __cplusplus
}
#endif

#endif
