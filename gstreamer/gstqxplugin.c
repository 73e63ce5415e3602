#include <gst/gst.h>

#include "gstqxcamerasrc.h"
#include "gstqxdeviceprovider.h"
#include "gstqxframemeta.h"

static gboolean
plugin_init (GstPlugin * plugin)
{
  gst_qx_frame_meta_get_info ();
  return gst_element_register (plugin, "qxcamerasrc", GST_RANK_NONE, GST_TYPE_QX_CAMERA_SRC)
      && gst_device_provider_register (plugin, "qxdeviceprovider", GST_RANK_PRIMARY,
      GST_TYPE_QX_DEVICE_PROVIDER);
}

GST_PLUGIN_DEFINE (GST_VERSION_MAJOR, GST_VERSION_MINOR, qxcamera, "Quendral VKO scientific cameras",
    plugin_init, QX_PLUGIN_VERSION, "Proprietary", "Quendral VKO camera SDK", "https://quendral.example")
