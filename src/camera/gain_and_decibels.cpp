#include "camera/gain_and_decibels.h"

#include <cmath>
#include <stdexcept>

#include "base/checks.h"
#include "base/number_conversion.h"
#include "camera/camera_command_port.h"
#include "camera/parameter_catalogue.h"

namespace qx::camera {

namespace {

constexpr double tenths_per_decibel = 10.0;
constexpr feature_need gain_need{feature::gain, "Camera does not support gain."};

bool has_gain_table(const camera_command_port& handle) {
    return handle.camera_properties().gain_table.size() > 1;
}

double table_decibels(const camera_command_port& handle, long long index) {
    const auto& table = handle.camera_properties().gain_table;
    if (index < 0 || index >= static_cast<long long>(table.size())) {
        throw std::out_of_range("Gain index is outside the gain table.");
    }
    return to_int(table[static_cast<std::size_t>(index)]) / tenths_per_decibel;
}

int linear_index(double decibels, int minimum, int maximum) {
    // Clamped before the conversion, so that huge values stay defined.
    const double index = std::round(decibels * tenths_per_decibel);
    if (index >= maximum)
        return maximum;
    if (index <= minimum)
        return minimum;
    return static_cast<int>(index);
}

// Walks the table upward from the minimum; the first entry at or above the
// decibels decides between itself and the previous, nearer one.
int table_index(const camera_command_port& handle, double decibels, int minimum, int maximum) {
    double previous = 0.0;
    for (long long index = minimum; index <= maximum; ++index) {
        const double value = table_decibels(handle, index);
        if (value == decibels)
            return static_cast<int>(index);
        if (value > decibels) {
            if (index == minimum)
                return minimum;
            const bool previous_is_nearer = decibels - previous < value - decibels;
            return static_cast<int>(previous_is_nearer ? index - 1 : index);
        }
        previous = value;
    }
    return maximum;
}

}  // namespace

void convert_gain_to_decibels(camera_command_port& handle, int gain, double* decibels) {
    kit::check_argument(decibels, "decibels");
    require_feature(handle, gain_need);
    *decibels = has_gain_table(handle) ? table_decibels(handle, gain) : gain / tenths_per_decibel;
}

void convert_decibels_to_gain(camera_command_port& handle, double decibels, int* index_to_gain) {
    kit::check_argument(index_to_gain, "index_to_gain");
    require_feature(handle, gain_need);
    if (std::isnan(decibels))
        kit::fail_argument("decibels");
    int minimum = 0;
    int maximum = 0;
    get_scalar_range(handle, scalar::gain, &minimum, &maximum);
    if (minimum > maximum)
        return;
    *index_to_gain = has_gain_table(handle) ? table_index(handle, decibels, minimum, maximum)
                                            : linear_index(decibels, minimum, maximum);
}

}  // namespace qx::camera
