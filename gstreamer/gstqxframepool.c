#include "gstqxframepool.h"

GST_DEBUG_CATEGORY_STATIC (gst_qx_frame_pool_debug);
#define GST_CAT_DEFAULT gst_qx_frame_pool_debug

struct _GstQxFramePool {
  GstBufferPool parent;
};

G_DEFINE_TYPE_WITH_CODE (GstQxFramePool, gst_qx_frame_pool, GST_TYPE_BUFFER_POOL,
    GST_DEBUG_CATEGORY_INIT (gst_qx_frame_pool_debug, "qxframepool", 0, "camera frame buffers"));

static GstFlowReturn
gst_qx_frame_pool_alloc_buffer (GstBufferPool * pool, GstBuffer ** buffer, GstBufferPoolAcquireParams * params)
{
  (void) pool;
  (void) params;
  *buffer = gst_buffer_new ();
  return GST_FLOW_OK;
}

/* A returning shell drops its frame memory (and with it, unless something
 * downstream still shares the memory, the frame's slot) and is kept. */
static void
gst_qx_frame_pool_reset_buffer (GstBufferPool * pool, GstBuffer * buffer)
{
  gst_buffer_remove_all_memory (buffer);
  GST_BUFFER_POOL_CLASS (gst_qx_frame_pool_parent_class)->reset_buffer (pool, buffer);
  GST_BUFFER_FLAG_UNSET (buffer, GST_BUFFER_FLAG_TAG_MEMORY);
}

static void
gst_qx_frame_pool_class_init (GstQxFramePoolClass * klass)
{
  GstBufferPoolClass *pool_class = GST_BUFFER_POOL_CLASS (klass);

  pool_class->alloc_buffer = gst_qx_frame_pool_alloc_buffer;
  pool_class->reset_buffer = gst_qx_frame_pool_reset_buffer;
}

static void
gst_qx_frame_pool_init (GstQxFramePool * pool)
{
  (void) pool;
}

GstBufferPool *
gst_qx_frame_pool_new (guint buffers)
{
  GstBufferPool *pool = g_object_new (GST_TYPE_QX_FRAME_POOL, NULL);
  GstStructure *config = gst_buffer_pool_get_config (pool);

  gst_object_ref_sink (pool);
  gst_buffer_pool_config_set_params (config, NULL, 0, buffers, buffers);
  if (!gst_buffer_pool_set_config (pool, config) || !gst_buffer_pool_set_active (pool, TRUE)) {
    gst_object_unref (pool);
    return NULL;
  }
  return pool;
}

GstBuffer *
gst_qx_frame_pool_acquire_shell (GstBufferPool * pool)
{
  GstBufferPoolAcquireParams params = { 0 };
  GstBuffer *buffer = NULL;

  params.flags = GST_BUFFER_POOL_ACQUIRE_FLAG_DONTWAIT;
  if (gst_buffer_pool_acquire_buffer (pool, &buffer, &params) != GST_FLOW_OK)
    return NULL;
  return buffer;
}

static void
release_held_frame (gpointer data)
{
  qx_frame *frame = data;

  if (qx_camera_release_frame (frame) != 0)
    GST_WARNING ("releasing frame %d: %s", frame->frame_count, qx_camera_get_last_error ());
  g_free (frame);
}

GstMemory *
gst_qx_frame_pool_wrap_frame (const qx_frame * frame, gsize size)
{
  qx_frame *held = g_memdup2 (frame, sizeof *frame);

  return gst_memory_new_wrapped (GST_MEMORY_FLAG_READONLY, frame->image_data, size, 0, size, held,
      release_held_frame);
}
