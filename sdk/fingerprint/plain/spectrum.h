// SPDX-License-Identifier: Apache-2.0
// The spectrum of one frame: an in-place single-precision FFT and the normalised magnitudes. Every result bit counts:
// the operations and their order are fixed. Only one_frame.cpp and the tests call these functions.
#pragma once

#include <cstddef>

// In-place radix-2 transform of n complex values (n a power of two), kernel e^{+i theta}, scaled by 1 / (2 n). Only
// the forward direction exists: nothing inverts a spectrum.
void cfft(float* data, size_t n);

// Spectrum of 2 n real values. Result: data[0] the real DC term, data[1] the real term at the Nyquist frequency,
// data[2k] and data[2k + 1] the real and imaginary parts of bin k = 1 .. n - 1.
void OBN_Heron_rfft(float* data, size_t n);

// frame: 512 windowed samples, destroyed. mag: 256 floats, bins 1 to 255 of unit energy together; all 0 for a silent
// frame. Returns the centroid of bins 3 to 59 in bins, 0 for a silent frame, NaN when none of them is above 0.001.
float psd_process(float* mag, float* frame);
