// Converts Natural Earth's 1:50m country outlines (world-atlas, TopoJSON) into the compact binary
// outline file the world map control reads. Run by make-world-map.sh, which fetches the packages.
//
// File layout, little-endian:
//   "KWM1", u16 country count
//   per country: 2 bytes ISO code, u8 name length, UTF-8 name, u16 shape count
//   per shape:   u16 ring count (outer ring first, then holes)
//   per ring:    u32 point count, then zigzag varint deltas of (lon, lat) in thousandths of a degree
import { createRequire } from 'node:module';
import { writeFileSync } from 'node:fs';

const require = createRequire(process.argv[2] + '/');
const topojson = require('topojson-client');
const world = require('world-atlas/countries-50m.json');
const iso = require('i18n-iso-countries');
iso.registerLocale(require('i18n-iso-countries/langs/en.json'));

// Natural Earth shapes without an ISO numeric code. Kosovo has the user-assigned code every
// geolocation service reports. Northern Cyprus and Somaliland are not recognised states: addresses
// there geolocate to CY and SO, so their land is lit with those countries. Siachen is held by India.
// The Australian Indian Ocean Territories are two ISO countries, told apart by longitude.
const uncoded = {
  'Kosovo': () => 'XK',
  'N. Cyprus': () => 'CY',
  'Somaliland': () => 'SO',
  'Siachen Glacier': () => 'IN',
  'Indian Ocean Ter.': (polygon) => (polygon[0][0][0] > 100 ? 'CX' : 'CC'),
};
const extraNames = { XK: 'Kosovo' };

function englishName(code) {
  return extraNames[code] ?? iso.getName(code, 'en');
}

// Rings that cross the 180th meridian jump from +180 to -180 between two points. Unwrap them into
// one continuous run of longitudes, close a ring around the pole along the map's bottom edge, and
// cut the run into the pieces that fall into [-180, 180] after shifting by whole turns.
function unwrap(ring) {
  const out = [ring[0].slice()];
  for (let i = 1; i < ring.length; i++) {
    let lon = ring[i][0];
    const prev = out[i - 1][0];
    while (lon - prev > 180) lon -= 360;
    while (lon - prev < -180) lon += 360;
    out.push([lon, ring[i][1]]);
  }
  const turn = out[out.length - 1][0] - out[0][0];
  if (Math.abs(turn) > 180) {
    // Encircles a pole (Antarctica): close it along the south pole.
    const last = out[out.length - 1];
    out.push([last[0], -90], [out[0][0], -90], out[0].slice());
  }
  return out;
}

function clip(ring, keep, xAt) {
  // Sutherland-Hodgman against one vertical line.
  const out = [];
  for (let i = 0; i < ring.length; i++) {
    const a = ring[i], b = ring[(i + 1) % ring.length];
    const ina = keep(a[0]), inb = keep(b[0]);
    if (ina) out.push(a);
    if (ina !== inb) {
      const t = (xAt - a[0]) / (b[0] - a[0]);
      out.push([xAt, a[1] + t * (b[1] - a[1])]);
    }
  }
  return out;
}

function splitAtAntimeridian(ring) {
  // A jump along the pole's edge of the map (Antarctica's coast ring runs along it) is a true edge.
  const nearPole = (p) => Math.abs(p[1]) > 89.9;
  const crosses = ring.some((p, i) => i > 0 && Math.abs(p[0] - ring[i - 1][0]) > 180 &&
                                      !(nearPole(p) && nearPole(ring[i - 1])));
  if (!crosses) return [ring];
  const u = unwrap(ring);
  const lons = u.map((p) => p[0]);
  const min = Math.min(...lons), max = Math.max(...lons);
  if (min >= -180 - 1e-9 && max <= 180 + 1e-9) return [u];
  const pieces = [];
  for (let k = Math.floor((min + 180) / 360); k <= Math.floor((max + 180) / 360); k++) {
    const lo = -180 + 360 * k, hi = 180 + 360 * k;
    let piece = clip(u, (x) => x >= lo, lo);
    piece = clip(piece, (x) => x <= hi, hi);
    if (piece.length >= 3) pieces.push(piece.map(([x, y]) => [x - 360 * k, y]));
  }
  return pieces;
}

const countries = new Map(); // code -> list of polygons (list of rings)
const fc = topojson.feature(world, world.objects.countries);
for (const feature of fc.features) {
  if (!feature.geometry) continue;
  const polygons =
    feature.geometry.type === 'Polygon' ? [feature.geometry.coordinates] : feature.geometry.coordinates;
  for (const polygon of polygons) {
    let code = feature.id ? iso.numericToAlpha2(feature.id) : uncoded[feature.properties.name]?.(polygon);
    if (!code) throw new Error(`no code for ${feature.properties.name} (${feature.id})`);
    // Natural Earth gives Antarctica an outer ring that only runs along the bottom edge of the map, with
    // the coast as its hole. That ring has no area on a flat map: drop it, and let the coast be an outer
    // ring of its own.
    const latitudeSpan = (ring) => Math.max(...ring.map((p) => p[1])) - Math.min(...ring.map((p) => p[1]));
    if (latitudeSpan(polygon[0]) < 0.01 && Math.abs(polygon[0][0][1]) > 89) {
      for (const ring of polygon.slice(1)) {
        if (!countries.has(code)) countries.set(code, []);
        for (const piece of splitAtAntimeridian(ring)) countries.get(code).push([piece]);
      }
      continue;
    }
    const [outer, ...holes] = polygon;
    const outerPieces = splitAtAntimeridian(outer);
    const holeRings = holes.flatMap(splitAtAntimeridian);
    if (!countries.has(code)) countries.set(code, []);
    for (const piece of outerPieces)
      countries.get(code).push(outerPieces.length === 1 ? [piece, ...holeRings] : [piece]);
  }
}

const bytes = [];
const u8 = (v) => bytes.push(v & 0xff);
const u16 = (v) => { u8(v); u8(v >> 8); };
const u32 = (v) => { u16(v & 0xffff); u16(v >>> 16); };
const varint = (v) => {
  let z = v >= 0 ? v * 2 : -v * 2 - 1;
  while (z >= 0x80) { u8((z & 0x7f) | 0x80); z = Math.floor(z / 128); }
  u8(z);
};
for (const c of 'KWM1') u8(c.charCodeAt(0));
const codes = [...countries.keys()].sort();
u16(codes.length);
let shapes = 0, points = 0;
for (const code of codes) {
  const name = Buffer.from(englishName(code), 'utf8');
  if (!englishName(code)) throw new Error(`no English name for ${code}`);
  u8(code.charCodeAt(0)); u8(code.charCodeAt(1));
  u8(name.length); for (const b of name) u8(b);
  const polygons = countries.get(code);
  u16(polygons.length);
  shapes += polygons.length;
  for (const rings of polygons) {
    u16(rings.length);
    for (const ring of rings) {
      // The closing point repeats the first one: the reader closes every ring itself.
      const q = ring.map(([x, y]) => [Math.round(x * 1000), Math.round(y * 1000)]);
      if (q.length > 1 && q[0][0] === q[q.length - 1][0] && q[0][1] === q[q.length - 1][1]) q.pop();
      u32(q.length);
      points += q.length;
      let px = 0, py = 0;
      for (const [x, y] of q) { varint(x - px); varint(y - py); px = x; py = y; }
    }
  }
}
writeFileSync(process.argv[3], Buffer.from(bytes));
console.log(`${codes.length} countries, ${shapes} shapes, ${points} points, ${bytes.length} bytes`);
