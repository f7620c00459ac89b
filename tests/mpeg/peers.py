"""Signals for encoders, and other decoders, for the scripts of this folder."""
import array
import random
import shutil
import subprocess
import wave


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, **options).stdout


def signal(samples, rate, seed=1):
    """Noise that no shift of itself resembles, without the highs that encoders cut."""
    noise, result, low = random.Random(seed), array.array("h"), 0.0
    for _ in range(samples):
        low += (noise.uniform(-1, 1) - low) * 6000 / rate
        result.append(int(20000 * low))
    return result


def write_wav(path, samples, rate, channels=1):
    with wave.open(path, "wb") as out:
        out.setnchannels(channels)
        out.setsampwidth(2)
        out.setframerate(rate)
        out.writeframes(samples.tobytes())


def peers():
    yield "ffmpeg", lambda path: run("ffmpeg", "-v", "error", "-i", path, "-f", "f32le", "-")
    if shutil.which("mpg123"):
        yield "mpg123", lambda path: run("mpg123", "-q", "--no-resync", "-e", "f32", "-s", path)
