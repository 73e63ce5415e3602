#include "gstqxcameradevice.h"

struct _GstQxCameraDevice {
  GstDevice parent;
  gchar *serial;
};

G_DEFINE_TYPE (GstQxCameraDevice, gst_qx_camera_device, GST_TYPE_DEVICE);

static GstElement *
gst_qx_camera_device_create_element (GstDevice * device, const gchar * name)
{
  GstElement *element = gst_element_factory_make ("qxcamerasrc", name);

  if (element != NULL)
    g_object_set (element, "serial", GST_QX_CAMERA_DEVICE (device)->serial, NULL);
  return element;
}

static gboolean
gst_qx_camera_device_reconfigure_element (GstDevice * device, GstElement * element)
{
  g_object_set (element, "serial", GST_QX_CAMERA_DEVICE (device)->serial, NULL);
  return TRUE;
}

static void
gst_qx_camera_device_finalize (GObject * object)
{
  g_free (GST_QX_CAMERA_DEVICE (object)->serial);
  G_OBJECT_CLASS (gst_qx_camera_device_parent_class)->finalize (object);
}

static void
gst_qx_camera_device_class_init (GstQxCameraDeviceClass * klass)
{
  GST_DEVICE_CLASS (klass)->create_element = gst_qx_camera_device_create_element;
  GST_DEVICE_CLASS (klass)->reconfigure_element = gst_qx_camera_device_reconfigure_element;
  G_OBJECT_CLASS (klass)->finalize = gst_qx_camera_device_finalize;
}

static void
gst_qx_camera_device_init (GstQxCameraDevice * device)
{
  (void) device;
}

GstDevice *
gst_qx_camera_device_new (const gchar * serial)
{
  gchar *display_name = g_strdup_printf ("Quendral VKO camera %s", serial);
  GstCaps *caps = gst_caps_from_string ("video/x-raw, format=(string){ GRAY16_LE, GRAY8 }");
  GstStructure *properties = gst_structure_new ("qxcamera-properties", "serial", G_TYPE_STRING, serial,
      "device.api", G_TYPE_STRING, "qxcamera", NULL);
  GstQxCameraDevice *device = g_object_new (GST_TYPE_QX_CAMERA_DEVICE, "display-name", display_name,
      "device-class", "Video/Source", "caps", caps, "properties", properties, NULL);

  device->serial = g_strdup (serial);
  g_free (display_name);
  gst_caps_unref (caps);
  gst_structure_free (properties);
  return GST_DEVICE (device);
}

const gchar *
gst_qx_camera_device_get_serial (GstQxCameraDevice * device)
{
  return device->serial;
}
