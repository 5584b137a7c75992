"""Slices to a stack of PNG pictures: black and white layers, as printers with projectors take them."""

import pathlib
import sys
import tempfile

import numpy as np

import zrk

folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else tempfile.mkdtemp())
part = zrk.SphereSDF(radius=0.8) & zrk.Gyroid(coords=zrk.AffineTransform(scaling=(0.1, 0.1, 0.1)))
layers, pixels = 20, 120
axis = np.linspace(-1, 1, pixels)
for k, z in enumerate(np.linspace(-0.95, 0.95, layers)):
    x, y = np.meshgrid(axis, axis[::-1])  # row 0 on top
    inside = part(np.stack((x, y, np.full_like(x, z)), -1)) < 0
    zrk.Picture(np.where(inside, 255, 0).astype(np.uint8)).save(folder / f"layer_{k:04d}.png")
print(len(list(folder.glob("layer_*.png"))), "layers")
