/* Lists connected cameras and follows their arrival and departure. */
#ifndef GST_QX_DEVICE_PROVIDER_H
#define GST_QX_DEVICE_PROVIDER_H

#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_QX_DEVICE_PROVIDER (gst_qx_device_provider_get_type ())
G_DECLARE_FINAL_TYPE (GstQxDeviceProvider, gst_qx_device_provider, GST, QX_DEVICE_PROVIDER, GstDeviceProvider)

G_END_DECLS

#endif
