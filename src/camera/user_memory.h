#pragma once
// The camera's non-volatile user memory and its settable name. The memory
// moves in chunks of at most 256 bytes, raw inside the text command and the
// text reply, behind a colon. The caller holds the handle mutex.

namespace qx::camera {

class camera_command_port;

void get_user_memory_maximum_size(camera_command_port& handle, long long* maximum_size_bytes);
// Each chunk's reply must echo its command, then a colon, then the bytes. A
// failure part-way leaves the earlier chunks in the destination.
void get_user_memory(camera_command_port& handle, unsigned char* destination_data_buffer, long long size,
                     long long offset);
// Erases the range first, then writes it. A chunk that holds a zero byte
// ends with it, since a command ends at its first NUL.
void set_user_memory(camera_command_port& handle, const unsigned char* source_data_buffer, long long size,
                     long long offset);
// Unlocks the name with "unlock dl", then sends it.
void set_name(camera_command_port& handle, const char* name);

}  // namespace qx::camera
