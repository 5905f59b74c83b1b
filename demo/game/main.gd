extends Node2D
## The map, its units and the player's hands on them.

const SIZE := Vector2(960, 600)
const TILE := 40.0
const BASE := Vector2(150, 440)
const ENEMY_BASE := Vector2(800, 130)
const FIELD := Vector2(430, 250)
const OWN := Color("4a90e2")
const ENEMY := Color("d6543c")
const UNIT_PRICE := 150

var units: Array[Unit] = []
var drag_from := Vector2.INF
var noise := FastNoiseLite.new()


func _ready() -> void:
	noise.seed = 4
	noise.frequency = 0.06
	for i in 3:
		units.append(Unit.new(BASE + Vector2(30 * i, 40), true, true))
	for i in 5:
		units.append(Unit.new(BASE + Vector2(90 + 34 * i, -20 + 12 * (i % 2)), true, false))
		units.append(Unit.new(ENEMY_BASE + Vector2(-60 - 34 * i, 30 + 12 * (i % 2)), false, false))
	$Overlay/Minimap.show_map(SIZE, units)
	Economy.changed.connect(queue_redraw)


func _process(delta: float) -> void:
	for unit in units:
		if not unit.drive(delta):
			continue
		if unit.harvester:
			_turn_around(unit)
		elif not unit.own:
			unit.target = ENEMY_BASE + Vector2(randf_range(-260, 60), randf_range(-40, 220))
	queue_redraw()


func _turn_around(unit: Unit) -> void:
	if unit.loaded:
		Economy.deliver(Unit.LOAD)
	unit.loaded = not unit.loaded
	unit.target = (BASE if unit.loaded else FIELD) + Vector2(randf_range(-25, 25), randf_range(-20, 20))


func _unhandled_input(event: InputEvent) -> void:
	if event is InputEventMouseButton and event.button_index == MOUSE_BUTTON_LEFT:
		if event.pressed:
			drag_from = event.position
		elif drag_from != Vector2.INF:
			_select(Rect2(drag_from, event.position - drag_from).abs().grow(12))
			drag_from = Vector2.INF
	elif event is InputEventMouseButton and event.button_index == MOUSE_BUTTON_RIGHT and event.pressed:
		_send(event.position)
	elif event.is_action_pressed("ui_accept") and Economy.pay(UNIT_PRICE):
		units.append(Unit.new(BASE + Vector2(60, -40), true, false))


func _select(area: Rect2) -> void:
	for unit in units:
		unit.selected = unit.own and not unit.harvester and area.has_point(unit.position)


func _send(to: Vector2) -> void:
	var place := 0
	for unit in units:
		if unit.selected:
			unit.target = to + Vector2(place % 3, place / 3) * 26.0
			place += 1


func _draw() -> void:
	_draw_ground()
	_draw_base(BASE, OWN)
	_draw_base(ENEMY_BASE, ENEMY)
	for unit in units:
		_draw_unit(unit)
	if drag_from != Vector2.INF:
		draw_rect(Rect2(drag_from, get_local_mouse_position() - drag_from), Color(1, 1, 1, 0.6), false, 1.0)
	var text := "Crystal %d     Score %d     Space: new tank (%d)" % [Economy.crystal, Economy.score, UNIT_PRICE]
	draw_rect(Rect2(0, 0, SIZE.x, 34), Color(0.06, 0.08, 0.12, 0.72))
	draw_string(ThemeDB.fallback_font, Vector2(16, 23), text, HORIZONTAL_ALIGNMENT_LEFT, -1, 16, Color("f2ead8"))


func _draw_ground() -> void:
	for y in int(SIZE.y / TILE):
		for x in int(SIZE.x / TILE):
			var height := noise.get_noise_2d(x * 4.0, y * 4.0)
			var colour := Color("2f5d7c") if height < -0.28 else Color("4c6b3c").lerp(Color("8a8a54"), clampf(height + 0.4, 0, 1))
			draw_rect(Rect2(x * TILE, y * TILE, TILE + 1, TILE + 1), colour)
	for i in 14:
		var at := FIELD + Vector2.from_angle(i * 2.4) * (8.0 + i * 4.0)
		draw_colored_polygon(PackedVector2Array([at + Vector2(0, -9), at + Vector2(6, 0), at + Vector2(0, 7), at + Vector2(-6, 0)]), Color("7fe3d4"))


func _draw_base(at: Vector2, colour: Color) -> void:
	draw_rect(Rect2(at + Vector2(-37, -25), Vector2(80, 60)), Color(0, 0, 0, 0.3))
	draw_rect(Rect2(at + Vector2(-40, -30), Vector2(80, 60)), Color("3a3f4a"))
	draw_rect(Rect2(at + Vector2(-40, -30), Vector2(80, 12)), colour)
	draw_circle(at + Vector2(0, 10), 12, colour.darkened(0.3))


func _draw_unit(unit: Unit) -> void:
	var colour := OWN if unit.own else ENEMY
	if unit.harvester:
		colour = Color("e0b84c")
	if unit.selected:
		draw_arc(unit.position, 16, 0, TAU, 24, Color.WHITE, 1.5)
	draw_set_transform(unit.position, unit.heading)
	draw_rect(Rect2(-10, -7, 22, 17), Color(0, 0, 0, 0.3))
	draw_rect(Rect2(-11, -8, 22, 16), colour)
	draw_rect(Rect2(0, -1.5, 16, 3), Color("e8e8e8"))
	if unit.loaded:
		draw_rect(Rect2(-7, -4, 7, 8), Color("7fe3d4"))
	draw_set_transform(Vector2.ZERO)
