extends Node2D
## The valley: a height map painted once, with trees and a field of crystal on it.

const SIZE := Vector2(1152, 648)
const DETAIL := 3
const WATER := -0.28
const SHORE := -0.23
const DEEP := Color("1f4563")
const SHALLOW := Color("3f7d9a")
const SAND := Color("bba978")
const MEADOW := Color("4a6b3a")
const HILL := Color("8f8f58")
const TREES := 260

var noise := FastNoiseLite.new()
var texture: ImageTexture
var trees: Array[Vector3] = []
var open_way: Array[Vector2] = []


## Makes the valley. Along the way through the points of `keep_open` it is flat, dry and without
## trees.
func build(keep_open: Array[Vector2]) -> void:
	open_way = keep_open
	noise.seed = 11
	noise.frequency = 0.0042
	noise.fractal_octaves = 4
	var image := Image.create(int(SIZE.x) / DETAIL, int(SIZE.y) / DETAIL, false, Image.FORMAT_RGB8)
	for y in image.get_height():
		for x in image.get_width():
			image.set_pixel(x, y, _colour(Vector2(x, y) * DETAIL))
	texture = ImageTexture.create_from_image(image)
	texture_filter = CanvasItem.TEXTURE_FILTER_LINEAR
	_plant()
	queue_redraw()


func height_at(point: Vector2) -> float:
	var height := noise.get_noise_2dv(point)
	# It winds a little.
	var distance := _distance_to_way(point) + 120.0 * noise.get_noise_2dv(point * 1.7)
	return lerpf(0.02 + 0.25 * height, height, smoothstep(70.0, 170.0, distance))


func _distance_to_way(point: Vector2) -> float:
	var distance := INF
	for i in open_way.size() - 1:
		var on_way := Geometry2D.get_closest_point_to_segment(point, open_way[i], open_way[i + 1])
		distance = minf(distance, point.distance_to(on_way))
	return distance


func _colour(point: Vector2) -> Color:
	var height := height_at(point)
	# Light falls from the upper left.
	var slope := height - height_at(point + Vector2(6, 6))
	var water := DEEP.lerp(SHALLOW, smoothstep(-0.5, WATER, height))
	var land := MEADOW.lerp(HILL, smoothstep(-0.1, 0.45, height))
	land = land.lightened(clampf(slope * 3.0, 0.0, 0.25)).darkened(clampf(-slope * 3.0, 0.0, 0.3))
	var colour := water.lerp(SAND, smoothstep(WATER - 0.012, WATER + 0.008, height))
	return colour.lerp(land, smoothstep(SHORE - 0.015, SHORE + 0.015, height))


func _plant() -> void:
	var random := RandomNumberGenerator.new()
	random.seed = 7
	while trees.size() < TREES:
		var point := Vector2(random.randf() * SIZE.x, random.randf() * SIZE.y)
		var height := height_at(point)
		if height > SHORE + 0.05 and noise.get_noise_2dv(point * 2.0 + Vector2(900, 0)) > 0.08 and _is_free(point):
			trees.append(Vector3(point.x, point.y, random.randf_range(5.0, 10.0)))
	trees.sort_custom(func(a: Vector3, b: Vector3) -> bool: return a.y < b.y)


func _is_free(point: Vector2) -> bool:
	if _distance_to_way(point) < 70.0:
		return false
	for place in open_way:
		if point.distance_to(place) < 110.0:
			return false
	return true


func _draw() -> void:
	if texture == null:
		return
	draw_texture_rect(texture, Rect2(Vector2.ZERO, SIZE), false)
	for tree in trees:
		var at := Vector2(tree.x, tree.y)
		draw_circle(at + Vector2(3, 4), tree.z, Color(0, 0, 0, 0.22))
		draw_circle(at, tree.z, Color("2c4a2a"))
		draw_circle(at + Vector2(-0.25, -0.3) * tree.z, tree.z * 0.62, Color("3d6335"))
