#pragma once

// The parts of libdispatch that our code uses; see FakeCarbon.h.

// NOLINTBEGIN
struct dispatch_queue_s;
using dispatch_queue_t = dispatch_queue_s *;
using dispatch_function_t = void (*)(void *);

extern "C" {
dispatch_queue_t dispatch_get_main_queue();
void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work);
#ifdef __BLOCKS__
using dispatch_block_t = void (^)();
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
#endif
}
// NOLINTEND
