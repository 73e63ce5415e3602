/* One connected camera as the device provider lists it. */
#ifndef GST_QX_CAMERA_DEVICE_H
#define GST_QX_CAMERA_DEVICE_H

#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_QX_CAMERA_DEVICE (gst_qx_camera_device_get_type ())
G_DECLARE_FINAL_TYPE (GstQxCameraDevice, gst_qx_camera_device, GST, QX_CAMERA_DEVICE, GstDevice)

GstDevice *gst_qx_camera_device_new (const gchar * serial);
const gchar *gst_qx_camera_device_get_serial (GstQxCameraDevice * device);

G_END_DECLS

#endif
