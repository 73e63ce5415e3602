/* Buffers for camera frames. A pool buffer is an empty shell that receives
 * either the memory of a held frame, which gives the frame's slot back to
 * the camera when the last reference to that memory goes, or a copy where
 * the frame's layout cannot be passed on as it is. The pool holds at most as
 * many buffers as the camera has frame slots, so downstream can never hold
 * more frames than the camera can spare. */
#ifndef GST_QX_FRAME_POOL_H
#define GST_QX_FRAME_POOL_H

#include <gst/gst.h>

#include "quendral_vko_camera_sdk.h"

G_BEGIN_DECLS

#define GST_TYPE_QX_FRAME_POOL (gst_qx_frame_pool_get_type ())
G_DECLARE_FINAL_TYPE (GstQxFramePool, gst_qx_frame_pool, GST, QX_FRAME_POOL, GstBufferPool)

/* An active pool of @buffers shells. */
GstBufferPool *gst_qx_frame_pool_new (guint buffers);

/* A free shell, or NULL when every one is still downstream. */
GstBuffer *gst_qx_frame_pool_acquire_shell (GstBufferPool * pool);

/* Read-only memory over @size bytes of the held @frame's pixels that takes
 * the frame over: the frame is released when the memory is freed. */
GstMemory *gst_qx_frame_pool_wrap_frame (const qx_frame * frame, gsize size);

G_END_DECLS

#endif
