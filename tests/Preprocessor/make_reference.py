#!/usr/bin/python3
"""Writes reference/bedroom.tsv: the conversion of one made-up chunk, computed apart from the library.

Everything is double precision with scipy's transforms and correlation, straight from the formulas; nothing is shared
with the C++ code but the signal, which TestSignals.hpp makes from the same integers. Needs Debian's python3-numpy and
python3-scipy. Lines are tab-separated:
  clip <first sample of the noise clip>
  threshold <bin> <decibels>
  mask <frame> <129 digits, 1 where the cell is noise>     every 41st frame
  mel <frame> <20 values>                                  every 17th frame, and the last
"""
import pathlib

import numpy as np
import scipy.fft
import scipy.signal

SAMPLES = 480000


def bedroom():
    """Noise that swells with a breath of four seconds, a tone in some seconds, a click now and then."""
    noise = np.empty(SAMPLES, dtype=np.int64)
    word = 2024
    for i in range(SAMPLES):
        word = (word * 6364136223846793005 + 1442695040888963407) % (1 << 64)
        noise[i] = (word >> 40) - (1 << 23)
    i = np.arange(SAMPLES, dtype=np.int64)
    breath = 32000 - np.abs(i % 64000 - 32000)
    tone = np.where(i // 16000 % 6 == 1, np.abs(i * 440 % 16000 - 8000) - 4000, 0)
    tone += np.where(i // 16000 % 6 == 4, np.abs(i * 1000 % 16000 - 8000) - 4000, 0)
    click = np.where(i % 40000 == 12345, 1 << 34, 0)
    value = noise * (40 + breath * breath // 2000000) + (tone << 19) + click
    return (value.astype(np.float64) / (1 << 35)).astype(np.float32).astype(np.float64)


def stft(x, size, hop):
    x = np.pad(x, size // 2, mode="reflect")
    window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(size) / size)
    frames = np.lib.stride_tricks.sliding_window_view(x, size)[::hop]
    return scipy.fft.rfft(frames * window, axis=1).T


def decibels(spectrum):
    level = 10 * np.log10(np.maximum(np.abs(spectrum), 1e-20))
    return 2 * np.maximum(level, level.max() - 80)


def noise_clip(x):
    best, least = 0, 1600.0
    for start in range(0, len(x) - 1600 + 1, 800):
        clip = x[start:start + 1600]
        if "0" * 10 in "".join("0" if v == 0 else "1" for v in clip):
            continue
        if np.dot(clip, clip) <= least:
            best, least = start, np.dot(clip, clip)
    return best


def denoise(x, clip):
    noise = decibels(stft(x[clip:clip + 1600], 256, 128))
    threshold = noise.mean(axis=1) + 1.5 * noise.std(axis=1)
    spectrum = stft(np.concatenate([x, np.zeros(128)]), 256, 128)
    mask = decibels(spectrum) < threshold[:, None]
    table = np.outer([1, 2, 3, 2, 1], [1, 2, 3, 4, 5, 4, 3, 2, 1]) / 225
    smooth = scipy.signal.correlate2d(mask.astype(float), table, mode="same")
    frames = scipy.fft.irfft(spectrum.T * (1 - smooth.T), axis=1)
    window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(256) / 256)
    length = 256 + 128 * (len(frames) - 1)
    y, norm = np.zeros(length), np.zeros(length)
    for t, frame in enumerate(frames):
        y[t * 128:t * 128 + 256] += frame * window
        norm[t * 128:t * 128 + 256] += window ** 2
    return threshold, mask, y[128:-256] / norm[128:-256]


def mel_bank():
    top = np.log(8.0) / 0.068751775 + 15.000001
    mel = np.linspace(0, top, 22)
    edge = np.where(mel > 15.000001, 1000 * np.exp(0.068751775 * (mel - 15.000001)), 66.666664 * mel)
    f = np.arange(401) * 20.0
    bank = np.empty((20, 401))
    for i in range(20):
        lower = (f - edge[i]) / (edge[i + 1] - edge[i])
        upper = (edge[i + 2] - f) / (edge[i + 2] - edge[i + 1])
        bank[i] = np.maximum(0, np.minimum(lower, upper)) * 2 / (edge[i + 2] - edge[i])
    return bank


def main():
    x = bedroom()
    clip = noise_clip(x)
    threshold, mask, clean = denoise(x, clip)
    mel = mel_bank() @ np.abs(stft(clean, 800, 400)) ** 2
    path = pathlib.Path(__file__).parent / "reference" / "bedroom.tsv"
    with open(path, "w", encoding="ascii") as out:
        print("clip", clip, sep="\t", file=out)
        for b, value in enumerate(threshold):
            print("threshold", b, f"{value:.6f}", sep="\t", file=out)
        for t in range(0, mask.shape[1], 41):
            print("mask", t, "".join("01"[int(cell)] for cell in mask[:, t]), sep="\t", file=out)
        for t in sorted({*range(0, mel.shape[1], 17), mel.shape[1] - 1}):
            print("mel", t, *(f"{value:.7g}" for value in mel[:, t]), sep="\t", file=out)


if __name__ == "__main__":
    main()
