/* Everything of the base library. */
#ifndef PB_PB_H
#define PB_PB_H

#include <pb/pb_abort.h>
#include <pb/pb_base.h>
#include <pb/pb_boxed_int.h>
#include <pb/pb_buffer.h>
#include <pb/pb_byte_sink.h>
#include <pb/pb_byte_source.h>
#include <pb/pb_charset.h>
#include <pb/pb_dict.h>
#include <pb/pb_enum.h>
#include <pb/pb_file_lock.h>
#include <pb/pb_flagset.h>
#include <pb/pb_header.h>
#include <pb/pb_header_info.h>
#include <pb/pb_identifier.h>
#include <pb/pb_line_source.h>
#include <pb/pb_locks.h>
#include <pb/pb_mem.h>
#include <pb/pb_module.h>
#include <pb/pb_obj.h>
#include <pb/pb_path_file.h>
#include <pb/pb_process.h>
#include <pb/pb_random.h>
#include <pb/pb_runtime.h>
#include <pb/pb_signal.h>
#include <pb/pb_store.h>
#include <pb/pb_store_codec.h>
#include <pb/pb_store_header.h>
#include <pb/pb_store_legacy_binary.h>
#include <pb/pb_string.h>
#include <pb/pb_thread_safety.h>
#include <pb/pb_time.h>
#include <pb/pb_timer.h>
#include <pb/pb_vector.h>

#endif
