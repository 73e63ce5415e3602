/* Stand-ins for kit calls that are declared in the kit's header but not yet
 * built into the kit on this branch: held frames by polling with a copy, and
 * no stream counters. Each one goes
 * as soon as the kit provides it. */
#include <stdlib.h>
#include <string.h>

#include "quendral_vko_camera_sdk.h"

typedef struct {
  unsigned char *block;
} held_copy;

int
qx_camera_acquire_frame (void *handle, int timeout_ms, qx_frame * frame)
{
  unsigned short *image = NULL;
  unsigned char *metadata = NULL;
  int count = 0, metadata_size = 0, width = 0, height = 0, bit_depth = 0;
  size_t pixel_bytes;
  unsigned char *block;

  if (frame == NULL || qx_camera_set_image_poll_timeout (handle, timeout_ms) != 0
      || qx_camera_get_pending_frame_or_null (handle, &image, &count, &metadata, &metadata_size) != 0)
    return QX_STATUS_INVALID_OPERATION;
  frame->image_data = NULL;
  frame->metadata = NULL;
  frame->metadata_size = 0;
  frame->token = NULL;
  if (image == NULL)
    return 0;
  if (qx_camera_get_image_width (handle, &width) != 0 || qx_camera_get_image_height (handle, &height) != 0
      || qx_camera_get_bit_depth (handle, &bit_depth) != 0)
    return QX_STATUS_INVALID_OPERATION;
  pixel_bytes = (size_t) width * (size_t) height * 2;
  block = malloc ((size_t) metadata_size + pixel_bytes);
  if (block == NULL)
    return QX_STATUS_INVALID_OPERATION;
  memcpy (block, metadata, (size_t) metadata_size);
  memcpy (block + metadata_size, image, pixel_bytes);
  frame->frame_count = count;
  frame->metadata = block;
  frame->metadata_size = metadata_size;
  frame->image_data = (unsigned short *) (block + metadata_size);
  frame->width = width;
  frame->height = height;
  frame->bit_depth = bit_depth;
  frame->token = block;
  return 0;
}

int
qx_camera_release_frame (qx_frame * frame)
{
  if (frame == NULL)
    return QX_STATUS_INVALID_OPERATION;
  free (frame->token);
  frame->token = NULL;
  return 0;
}

int
qx_camera_get_stream_statistics (void *handle, qx_stream_statistics * statistics)
{
  unsigned int size;

  if (handle == NULL || statistics == NULL || statistics->size < sizeof (unsigned int))
    return QX_STATUS_INVALID_OPERATION;
  size = statistics->size < sizeof *statistics ? statistics->size : (unsigned int) sizeof *statistics;
  memset (statistics, 0, size);
  statistics->size = size;
  return 0;
}
