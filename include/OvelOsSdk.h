/**
 * @file OvelOsSdk.h
 * @brief The bridge to the OS SDK (`libossdk`): loading, the diagnostic log, and its functions for the host.
 *
 * libOvelRender does not link against the OS SDK. It opens the file at run time, at the first
 * `Ovel_Create` or when the host calls #LoadOSSDK, looks every function up by name, and forwards.
 * Everything here works without the OS SDK too: a function then writes a notice to standard error,
 * a number, a comma and a name without a newline as in `NUMBER,inner_sdk_mutex_create`, and gives the
 * default noted at its declaration. The same happens for a single function that the OS SDK at hand lacks.
 * A caller cannot tell a default from the same value given by the OS SDK.
 *
 * @section osthreads Threads
 * Every function may be called on any thread; the bridge takes no lock and copies nothing, an OS SDK function
 * runs on the caller's thread. Loading and releasing work on any thread and inside the OS SDK's own
 * constructors and destructors: no lock is held while they run. Two threads that load at once leave one library
 * open. A call that starts after #ReleaseOSSDK has begun to close the library gets its default. A call that is
 * inside the OS SDK while another thread releases it runs in code that is being unmapped: only the host can
 * prevent that, by ending its threads' calls (its renderers log too) before it releases.
 *
 * @section osowner Ownership
 * Handles are the OS SDK's: the bridge passes pointers, lengths and callbacks on exactly as they came, null
 * included, looks inside nothing and keeps nothing. Handles go back through the functions of their own
 * family.
 */
#ifndef OVEL_OS_SDK_H
#define OVEL_OS_SDK_H

#include "OvelInterface.h"

/** Lets the compiler check a format and its arguments. */
#if defined(__GNUC__)
#define OVEL_PRINTF(position, first) __attribute__((format(printf, position, first)))
#else
#define OVEL_PRINTF(position, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Opaque types of the OS SDK
 * @{ */
typedef struct LMutex1 LMutex1;                 /**< mutex */
typedef struct LThread1 LThread1;               /**< thread */
typedef struct _LTimer _LTimer;                 /**< timer */
typedef struct _OS_DList _OS_DList;             /**< doubly linked list */
typedef struct _OS_DListNode _OS_DListNode;     /**< node of a doubly linked list */
typedef struct _TProtFrame _TProtFrame;         /**< protocol frame */
typedef struct tagAnalyzeParam tagAnalyzeParam; /**< what a protocol frame's analyse callback gets */
typedef struct _FunctionMap _FunctionMap;       /**< map from keys or indices to functions */
typedef struct _NetLink _NetLink;               /**< network link */
typedef struct _NetTcpServer _NetTcpServer;     /**< TCP server */
typedef struct _NetTcpClient _NetTcpClient;     /**< TCP client */
typedef struct _NetUdpClient _NetUdpClient;     /**< UDP client */
/** @} */

/** @name Loading
 * @{ */
/**
 * Opens the OS SDK: `libossdk.so`, or `libossdk.dylib` where there is no such file. Does nothing when it is
 * loaded already; loads are not counted.
 * @param dir directory that holds the file, at most 247 bytes (one separator is added, whether or not it ends
 * with one); null or empty for the search of `dlopen`. Not kept.
 * @return 0 loaded, now or before; -1 no such file, not loadable, or a directory that is too long (never cut).
 * Nothing is changed then.
 */
OVEL_API int LoadOSSDK(const char* dir);
/** As #LoadOSSDK. @param reserved1 not used. @param reserved2 not used. @param dir as there. @return as there. */
OVEL_API int LoadOsCore(const char* reserved1, void* reserved2, const char* dir);
/**
 * Closes the OS SDK, however often it was loaded. Functions called from then on give their defaults; a later
 * #LoadOSSDK opens it again. See Threads for calls that are still running.
 * @return 1 closed; 0 nothing was loaded (with a notice on standard error).
 */
OVEL_API unsigned char ReleaseOSSDK(void);
/** @} */

/** @name Diagnostic log
 * Texts are formatted here, into at most 4094 bytes (the rest is cut), and reach the OS SDK finished. It
 * takes them in the place of a format, so a percent sign left in a finished text is up to it. Without the OS
 * SDK the text is dropped.
 *
 * An entry of several parts begins with #api_sdk_log_buf_lock and ends, on the same thread, with one of the
 * functions called `_unlock`: the OS SDK holds its log lock in between.
 * @{ */
/** Writes a debug line. @param format as for `printf`. */
OVEL_API void api_sdk_log_debug(const char* format, ...) OVEL_PRINTF(1, 2);
/** Writes a message line. @param format as for `printf`. */
OVEL_API void api_sdk_log_msg(const char* format, ...) OVEL_PRINTF(1, 2);
/** Begins an entry of several parts. */
OVEL_API void api_sdk_log_buf_lock(void);
/** Adds the date to the entry. */
OVEL_API void api_sdk_log_buf_date(void);
/** Adds a text to the entry. @param format as for `printf`. */
OVEL_API void api_sdk_log_buf_msg(const char* format, ...) OVEL_PRINTF(1, 2);
/** The same as #api_sdk_log_buf_msg. @param format as for `printf`. */
OVEL_API void api_sdk_log_buf(const char* format, ...) OVEL_PRINTF(1, 2);
/** Ends the entry as a message (`sdk_log_buf_msg_unlock`). @param format as for `printf`. */
OVEL_API void api_sdk_log_buf_msg_unlock(const char* format, ...) OVEL_PRINTF(1, 2);
/** Ends the entry by `sdk_log_buf_quit_unlock`. @param format as for `printf`. */
OVEL_API void api_sdk_log_buf_quit_unlock(const char* format, ...) OVEL_PRINTF(1, 2);
/** Ends the entry as an error (`sdk_err_buf_msg_unlock`). @param format as for `printf`. */
OVEL_API void api_sdk_err_buf_msg_unlock(const char* format, ...) OVEL_PRINTF(1, 2);
/** Ends the entry by `sdk_err_buf_quit_unlock`. @param format as for `printf`. */
OVEL_API void api_sdk_err_buf_quit_unlock(const char* format, ...) OVEL_PRINTF(1, 2);
/** Asks for the log levels; the bridge does not touch the two values.
 * @param piLevel1 passed on. @param piLevel2 passed on. */
OVEL_API void api_sdk_log_get_level(int* piLevel1, int* piLevel2);
/** Sets the log levels. @param iLevel1 passed on. @param iLevel2 passed on. @param iLevel3 passed on. */
OVEL_API void api_sdk_log_set_level(int iLevel1, int iLevel2, int iLevel3);
/** Whether this bridge has log levels. @return always 1, with or without the OS SDK. */
OVEL_API int api_check_sdk_log_level(void);
/** @} */

/** @name OS start-up and process settings
 * @{ */
/** Forwards to `sdk_os_startup`. @return its result; without it 0. */
OVEL_API int api_sdk_os_startup(int iParam1, int iParam2);
/** Forwards to `sdk_os_set_timer_interval`. @return its result; without it 0. */
OVEL_API int api_sdk_os_set_timer_interval(int iInterval);
/** Forwards to `sdk_os_set_max_package_buf`. @return its result; without it 0. */
OVEL_API int api_sdk_os_set_max_package_buf(int iSize);
/** Forwards to `sdk_os_cleanup`. @return its result; without it 0. */
OVEL_API int api_sdk_os_cleanup(void);
/** Forwards to `sdk_os_sleep`. Without it: nothing. */
OVEL_API void api_sdk_os_sleep(int iTime);
/** Forwards to `sdk_os_set_usr_flag`. @return its result; without it -1. */
OVEL_API int api_sdk_os_set_usr_flag(int iFlag);
/** Forwards to `sdk_os_set_cur_path`. Without it: nothing. */
OVEL_API void api_sdk_os_set_cur_path(char* pszPath);
/** @} */

/** @name Mutexes
 * @{ */
/** Forwards to `sdk_mutex_init`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_init(LMutex1* pMutex, int iParam);
/** Forwards to `sdk_mutex_create`. @return its result; without it null. */
OVEL_API LMutex1* api_sdk_mutex_create(int iParam);
/** Forwards to `sdk_mutex_free`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_free(LMutex1* pMutex);
/** Forwards to `sdk_mutex_destroy`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_destroy(LMutex1* pMutex);
/** Forwards to `sdk_mutex_lock`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_lock(LMutex1* pMutex);
/** Forwards to `sdk_mutex_try_lock`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_try_lock(LMutex1* pMutex);
/** Forwards to `sdk_mutex_unlock`. @return its result; without it 0. */
OVEL_API int api_sdk_mutex_unlock(LMutex1* pMutex);
/** @} */

/** @name Threads
 * @{ */
/** Forwards to `sdk_thread_create`. @return its result; without it 0. */
OVEL_API int api_sdk_thread_create(LThread1* pThread, unsigned int uiParam, void* (*pfnThread)(void*),
                                   void* pArg);
/** Forwards to `sdk_thread_join`. @return its result; without it 0. */
OVEL_API int api_sdk_thread_join(LThread1* pThread);
/** Forwards to `sdk_thread_detach`. @return its result; without it 0. */
OVEL_API int api_sdk_thread_detach(LThread1* pThread);
/** Forwards to `sdk_thread_self`. @return its result; without it 0. */
OVEL_API unsigned long api_sdk_thread_self(void);
/** @} */

/** @name Timers
 * @{ */
/** Forwards to `sdk_timer_create`. @return its result; without it null. */
OVEL_API _LTimer* api_sdk_timer_create(void (*pfnTimer)(void*), unsigned int uiInterval, void* pArg);
/** Forwards to `sdk_timer_destroy`. @return its result; without it 0. */
OVEL_API int api_sdk_timer_destroy(_LTimer* pTimer);
/** @} */

/** @name Main lock
 * @{ */
/** Forwards to `sdk_main_lock`. @return its result; without it 0. */
OVEL_API int api_sdk_main_lock(void);
/** Forwards to `sdk_main_unlock`. @return its result; without it 0. */
OVEL_API int api_sdk_main_unlock(void);
/** @} */

/** @name Doubly linked lists
 * @{ */
/** Forwards to `adt_dlist_create`. @return its result; without it null. */
OVEL_API _OS_DList* api_adt_dlist_create(unsigned int uiParam);
/** Forwards to `adt_dlist_destroy`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_destroy(_OS_DList* pList);
/** Forwards to `adt_dlist_insert`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_insert(_OS_DList* pList, _OS_DListNode* pNode, void* pData);
/** Forwards to `adt_dlist_add`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_add(_OS_DList* pList, _OS_DListNode* pNode, void* pData);
/** Forwards to `adt_dlist_next`. @return its result; without it null. */
OVEL_API _OS_DListNode* api_adt_dlist_next(_OS_DListNode* pNode);
/** Forwards to `adt_dlist_prev`. @return its result; without it null. */
OVEL_API _OS_DListNode* api_adt_dlist_prev(_OS_DListNode* pNode);
/** Forwards to `adt_dlist_head`. @return its result; without it null. */
OVEL_API _OS_DListNode* api_adt_dlist_head(_OS_DList* pList);
/** Forwards to `adt_dlist_end`. @return its result; without it null. */
OVEL_API _OS_DListNode* api_adt_dlist_end(_OS_DList* pList);
/** Forwards to `adt_dlist_size`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_size(_OS_DList* pList);
/** Forwards to `adt_dlist_empty`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_empty(_OS_DList* pList);
/** Forwards to `adt_dlist_delete`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_delete(_OS_DList* pList, _OS_DListNode* pNode);
/** Forwards to `adt_dlist_delete_ex`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_delete_ex(_OS_DList* pList, _OS_DListNode* pNode);
/** Forwards to `adt_dlist_getdata`. @return its result; without it null. */
OVEL_API void* api_adt_dlist_getdata(_OS_DListNode* pNode);
/** Forwards to `adt_dlist_lock`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_lock(_OS_DList* pList);
/** Forwards to `adt_dlist_unlock`. @return its result; without it 0. */
OVEL_API int api_adt_dlist_unlock(_OS_DList* pList);
/** @} */

/** @name Protocol frames
 * @{ */
/** Forwards to `pap_init`. @return its result; without it null. */
OVEL_API _TProtFrame* api_pap_init(void);
/** Forwards to `pap_uninit`. @return its result; without it -1. */
OVEL_API int api_pap_uninit(_TProtFrame* pFrame);
/** Forwards to `pap_regist_cbk_cmd_analyze`. @return its result; without it -1. */
OVEL_API int api_pap_regist_cbk_cmd_analyze(_TProtFrame* pFrame, const char* pszName,
                                            int (*pfnAnalyze)(tagAnalyzeParam*));
/** Forwards to `pap_regist_cbk_cmd_analyze_spe`. @return its result; without it -1. */
OVEL_API int api_pap_regist_cbk_cmd_analyze_spe(_TProtFrame* pFrame, const char* pszName,
                                                int (*pfnAnalyze)(tagAnalyzeParam*));
/** Forwards to `pap_regist_cbk_cmd_deal`. @return its result; without it -1. */
OVEL_API int api_pap_regist_cbk_cmd_deal(_TProtFrame* pFrame, const char* pszName,
                                         int (*pfnDeal)(void*, int, void*));
/** Forwards to `pap_regist_cbk_cmd_deal_spe`. @return its result; without it -1. */
OVEL_API int api_pap_regist_cbk_cmd_deal_spe(_TProtFrame* pFrame, const char* pszName,
                                             int (*pfnDeal)(void*, int, void*));
/** Forwards to `pap_regist_cbk_get_param`. @return its result; without it -1. */
OVEL_API int api_pap_regist_cbk_get_param(_TProtFrame* pFrame, int (*pfnGetParam)(int, void*, int, void*));
/** Forwards to `pap_run_cmd`. @return its result; without it -1. */
OVEL_API int api_pap_run_cmd(_TProtFrame* pFrame, const char* pszName, int iLen, void* pData);
/** Forwards to `pap_run_cmd_package`. @return its result; without it -1. */
OVEL_API int api_pap_run_cmd_package(_TProtFrame* pFrame, const char* pszName, int iLen, void* pData);
/** @} */

/** @name Function maps
 * @{ */
/** Forwards to `function_map_create`. @return its result; without it null. */
OVEL_API _FunctionMap* api_function_map_create(int iSize);
/** Forwards to `function_map_create_key`. @return its result; without it null. */
OVEL_API _FunctionMap* api_function_map_create_key(void);
/** Forwards to `function_map_create_index`. @return its result; without it null. */
OVEL_API _FunctionMap* api_function_map_create_index(int iSize);
/** Forwards to `function_map_destroy`. @return its result; without it -1. */
OVEL_API int api_function_map_destroy(_FunctionMap* pMap);
/** Forwards to `function_map_bind_key`. @return its result; without it -1. */
OVEL_API int api_function_map_bind_key(_FunctionMap* pMap, char* pszKey, void* pFunction);
/** Forwards to `function_map_bind_index`. @return its result; without it -1. */
OVEL_API int api_function_map_bind_index(_FunctionMap* pMap, int iIndex, void* pFunction);
/** Forwards to `function_map_get_key_map`. @return its result; without it null. */
OVEL_API void* api_function_map_get_key_map(_FunctionMap* pMap, char* pszKey);
/** Forwards to `function_map_get_index_map`. @return its result; without it null. */
OVEL_API void* api_function_map_get_index_map(_FunctionMap* pMap, int iIndex);
/** @} */

/** @name Network links
 * @{ */
/** Forwards to `net_link_create`. @return its result; without it null. */
OVEL_API _NetLink* api_net_link_create(void);
/** Forwards to `net_link_destroy`. @return its result; without it -1. */
OVEL_API int api_net_link_destroy(_NetLink* pLink);
/** Forwards to `net_link_set_udata`. @return its result; without it -1. */
OVEL_API int api_net_link_set_udata(_NetLink* pLink, void* pUserData);
/** Forwards to `net_link_get_udata`. @return its result; without it -1. */
OVEL_API int api_net_link_get_udata(_NetLink* pLink, void** ppUserData);
/** Forwards to `net_link_bind_parase_protocol`. @return its result; without it -1. */
OVEL_API int api_net_link_bind_parase_protocol(_NetLink* pLink,
                                               int (*pfnParse)(_NetLink*, void*, int, void*, int));
/** Forwards to `net_link_bind_disconnect_protocol`. @return its result; without it -1. */
OVEL_API int api_net_link_bind_disconnect_protocol(_NetLink* pLink, void (*pfnDisconnect)(_NetLink*, void*));
/** Forwards to `net_link_set_ip_ver`. @return its result; without it -1. */
OVEL_API int api_net_link_set_ip_ver(_NetLink* pLink, int iIpVer);
/** Forwards to `net_link_get_ip_ver`. @return its result; without it -1. */
OVEL_API int api_net_link_get_ip_ver(_NetLink* pLink);
/** Forwards to `net_link_set_core`. @return its result; without it -1. */
OVEL_API int api_net_link_set_core(_NetLink* pLink, _NetTcpClient* pClient);
/** Forwards to `net_link_time_add`. @return its result; without it -1. */
OVEL_API int api_net_link_time_add(_NetLink* pLink);
/** Forwards to `net_link_time_add_ex`. @return its result; without it -1. */
OVEL_API int api_net_link_time_add_ex(_NetLink* pLink, int iTime);
/** Forwards to `net_link_check_timeout`. @return its result; without it 0. */
OVEL_API int api_net_link_check_timeout(_NetLink* pLink);
/** Forwards to `net_link_send_command`. @return its result; without it -1. */
OVEL_API int api_net_link_send_command(_NetLink* pLink, char* pcData, int iLen);
/** Forwards to `net_link_send_data`. @return its result; without it -1. */
OVEL_API int api_net_link_send_data(_NetLink* pLink, char* pcData, int iLen);
/** Forwards to `net_link_send_package`. @return its result; without it -1. */
OVEL_API int api_net_link_send_package(_NetLink* pLink, char* pcData, int iLen);
/** Forwards to `net_link_set_type`. @return its result; without it -1. */
OVEL_API int api_net_link_set_type(_NetLink* pLink, int iType);
/** Forwards to `net_link_get_type`. @return its result; without it -1. */
OVEL_API int api_net_link_get_type(_NetLink* pLink);
/** Forwards to `net_link_get_remote`. @return its result; without it -1. */
OVEL_API int api_net_link_get_remote(_NetLink* pLink, char* pszIp, unsigned short* pusPort);
/** Forwards to `net_link_lock`. @return its result; without it 0. */
OVEL_API int api_net_link_lock(_NetLink* pLink);
/** Forwards to `net_link_unlock`. @return its result; without it 0. */
OVEL_API int api_net_link_unlock(_NetLink* pLink);
/** @} */

/** @name TCP servers
 * @{ */
/** Forwards to `net_tcp_server_create`. @return its result; without it null. */
OVEL_API _NetTcpServer* api_net_tcp_server_create(void);
/** Forwards to `net_tcp_server_destroy`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_destroy(_NetTcpServer* pServer);
/** Forwards to `net_tcp_server_set_local`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_set_local(_NetTcpServer* pServer, char* pszIp, unsigned short usPort);
/** Forwards to `net_tcp_server_set_local_ipv6`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_set_local_ipv6(_NetTcpServer* pServer, char* pszIp, unsigned short usPort);
/** Forwards to `net_tcp_server_get_local`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_get_local(_NetTcpServer* pServer, char* pszIp, unsigned short* pusPort);
/** Forwards to `net_tcp_server_get_status`. @return its result; without it -1. */
OVEL_API int api_net_tcp_server_get_status(_NetTcpServer* pServer);
/** Forwards to `net_tcp_server_open`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_open(_NetTcpServer* pServer);
/** Forwards to `net_tcp_server_close`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_close(_NetTcpServer* pServer);
/** Forwards to `net_tcp_server_bind_accept`. @return its result; without it 0. */
OVEL_API int api_net_tcp_server_bind_accept(_NetTcpServer* pServer,
                                            int (*pfnAccept)(_NetTcpServer*, int, void*), void* pUserData);
/** Forwards to `net_tcp_server_get_ip_ver`. @return its result; without it -1. */
OVEL_API int api_net_tcp_server_get_ip_ver(_NetTcpServer* pServer);
/** @} */

/** @name TCP clients
 * @{ */
/** Forwards to `net_tcp_client_create`. @return its result; without it null. */
OVEL_API _NetTcpClient* api_net_tcp_client_create(void);
/** Forwards to `net_tcp_client_destroy`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_destroy(_NetTcpClient* pClient);
/** Forwards to `net_tcp_client_set_remote`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_set_remote(_NetTcpClient* pClient, char* pszIp, unsigned short usPort);
/** Forwards to `net_tcp_client_get_remote`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_get_remote(_NetTcpClient* pClient, char* pszIp, unsigned short* pusPort);
/** Forwards to `net_tcp_client_get_local`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_get_local(_NetTcpClient* pClient, char* pszIp, unsigned short* pusPort);
/** Forwards to `net_tcp_client_set_local`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_set_local(_NetTcpClient* pClient, char* pszIp, unsigned short usPort);
/** Forwards to `net_tcp_client_get_status`. @return its result; without it -1. */
OVEL_API int api_net_tcp_client_get_status(_NetTcpClient* pClient);
/** Forwards to `net_tcp_client_open`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_open(_NetTcpClient* pClient, int iParam);
/** Forwards to `net_tcp_client_close`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_close(_NetTcpClient* pClient);
/** Forwards to `net_tcp_client_send`. @return its result; without it -1. */
OVEL_API int api_net_tcp_client_send(_NetTcpClient* pClient, char* pcData, unsigned int uiLen);
/** Forwards to `net_tcp_client_read`. @return its result; without it -1. */
OVEL_API int api_net_tcp_client_read(_NetTcpClient* pClient, char* pcData, unsigned int uiLen);
/** Forwards to `net_tcp_client_set_udata`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_set_udata(_NetTcpClient* pClient, void* pUserData);
/** Forwards to `net_tcp_client_get_udata`. @return its result; without it null. */
OVEL_API void* api_net_tcp_client_get_udata(_NetTcpClient* pClient);
/** Forwards to `net_tcp_client_bind_connect`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_bind_connect(_NetTcpClient* pClient,
                                             void (*pfnConnect)(_NetTcpClient*, void*), void* pUserData);
/** Forwards to `net_tcp_client_bind_disconnect`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_bind_disconnect(_NetTcpClient* pClient,
                                                void (*pfnDisconnect)(_NetTcpClient*, void*),
                                                void* pUserData);
/** Forwards to `net_tcp_client_bind_read`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_bind_read(_NetTcpClient* pClient, int (*pfnRead)(_NetTcpClient*, void*),
                                          void* pUserData);
/** Forwards to `net_tcp_client_bind_write`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_bind_write(_NetTcpClient* pClient, int (*pfnWrite)(_NetTcpClient*, void*),
                                           void* pUserData);
/** Forwards to `net_tcp_client_set_rcvbuf_len`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_set_rcvbuf_len(_NetTcpClient* pClient, int iLen);
/** Forwards to `net_tcp_client_set_ip_ver`. @return its result; without it 0. */
OVEL_API int api_net_tcp_client_set_ip_ver(_NetTcpClient* pClient, char cIpVer);
/** @} */

/** @name UDP clients
 * @{ */
/** Forwards to `net_udp_client_create`. @return its result; without it null. */
OVEL_API _NetUdpClient* api_net_udp_client_create(void);
/** Forwards to `net_udp_client_destroy`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_destroy(_NetUdpClient* pClient);
/** Forwards to `net_udp_client_open`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_open(_NetUdpClient* pClient);
/** Forwards to `net_udp_client_close`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_close(_NetUdpClient* pClient);
/** Forwards to `net_udp_client_send`. @return its result; without it -1. */
OVEL_API int api_net_udp_client_send(_NetUdpClient* pClient, char* pcData, unsigned int uiLen, char* pszIp,
                                     unsigned short usPort);
/** Forwards to `net_udp_client_read`. @return its result; without it -1. */
OVEL_API int api_net_udp_client_read(_NetUdpClient* pClient, char* pcData, unsigned int uiLen, char* pszIp,
                                     unsigned short* pusPort);
/** Forwards to `net_udp_client_bind_read`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_bind_read(_NetUdpClient* pClient, int (*pfnRead)(_NetUdpClient*, void*),
                                          void* pUserData);
/** Forwards to `net_udp_client_bind_write`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_bind_write(_NetUdpClient* pClient, int (*pfnWrite)(_NetUdpClient*, void*),
                                           void* pUserData);
/** Forwards to `net_udp_client_set_local`. @return its result; without it 0. */
OVEL_API int api_net_udp_client_set_local(_NetUdpClient* pClient, char* pszIp, unsigned short usPort);
/** @} */

/** @name Address conversion
 * @{ */
/** Forwards to `net_os_inet_pton`. @return its result; without it -1. */
OVEL_API int api_net_os_inet_pton(int iFamily, const char* pszAddress, void* pResult);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
